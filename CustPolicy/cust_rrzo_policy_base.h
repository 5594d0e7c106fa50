#pragma once

#include <cstdint>

#include "custpolicy/cust_rrzo_policy.h"

namespace custpolicy {

// Message class of every RRZO request to the feature-chip service.
constexpr uint32_t kMsgIdRrzo = 0x1001;

// Request codes (evalType) of the RRZO message class.
constexpr int32_t kRrzoEvalStaticInfo = 0;
constexpr int32_t kRrzoEvalSensorSizes = 1;
constexpr int32_t kRrzoEvalTargetSize = 2;

}  // namespace custpolicy
