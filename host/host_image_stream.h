#pragma once

#include <cstdint>
#include <memory>

#include "platform/MSize.h"
#include "platform/PolicyTypes.h"

namespace hostplatform {

// The facts one host image stream answers.
struct ImageStreamFacts {
    int32_t type = 0;
    int32_t format = 0;
    uint64_t usage = 0;
    uint64_t useCase = 0;
    MSize size;
};

// A configured image stream as the platform describes it, answering fixed facts.
class HostImageStreamInfo : public NSCam::v3::IImageStreamInfo {
public:
    explicit HostImageStreamInfo(const ImageStreamFacts& facts) : mFacts(facts) {}
    int32_t getStreamType() const override { return mFacts.type; }
    int32_t getImgFormat() const override { return mFacts.format; }
    uint64_t getUsage() const override { return mFacts.usage; }
    uint64_t getUseCase() const override { return mFacts.useCase; }
    MSize getImgSize() const override { return mFacts.size; }

private:
    ImageStreamFacts mFacts;
};

inline std::shared_ptr<NSCam::v3::IImageStreamInfo> makeImageStream(const ImageStreamFacts& facts) {
    return std::make_shared<HostImageStreamInfo>(facts);
}

}  // namespace hostplatform
