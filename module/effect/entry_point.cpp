// The module's only visible function. The linker exports it as `main`, which C++ does not let a
// library define under that name.

#include "module/effect/commands.h"

#if defined(_WIN32)
#define TINTWELL_EXPORT // the module-definition file exports it
#else
#define TINTWELL_EXPORT __attribute__((visibility("default")))
#endif

extern "C" TINTWELL_EXPORT tintwell::ErrorCode
tintwellEffectMain(std::int32_t command, tintwell::InData* inData, tintwell::OutData* outData,
                   tintwell::ParamDef** params, tintwell::EffectWorld* output,
                   void* extra) noexcept {
    return tintwell::runCommand(command, inData, outData, params, output, extra);
}
