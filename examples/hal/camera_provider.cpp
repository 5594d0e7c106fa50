// The process that loads the example HAL the way Android's camera provider loads a HAL module:
// dlopen with RTLD_NOW | RTLD_LOCAL. libcustpolicy.so and the platform library come in as the
// HAL's own dependencies, so the library's platform symbols resolve within the HAL's group.

#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <libexample_hal.so>\n", argv[0]);
        return 2;
    }
    void* hal = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (hal == nullptr) {
        std::fprintf(stderr, "camera_provider: %s\n", dlerror());
        return 1;
    }
    using ConfigureFn = int (*)();
    auto configure = reinterpret_cast<ConfigureFn>(dlsym(hal, "exampleHalConfigureCameras"));
    if (configure == nullptr) {
        std::fprintf(stderr, "camera_provider: %s\n", dlerror());
        return 1;
    }
    return configure();
}
