#include "tool/options/module_path.h"

#include "tool/terminal/user_error.h"

#include <array>
#include <cstdlib>
#include <system_error>

namespace fs = std::filesystem;

namespace tintwell::tool {
namespace {

constexpr const char* kVariable = "TINTWELL_MODULE";

} // namespace

fs::path findModule(const ModuleSearch& search) {
    // A bare file name would make the loader search the system's library folders.
    if (!search.option.empty()) {
        return fs::absolute(search.option);
    }
    if (!search.environment.empty()) {
        return fs::absolute(search.environment);
    }
    const fs::path folder = search.executable.parent_path();
    const std::array<fs::path, 2> candidates{
        folder / TINTWELL_MODULE_FILE,
        (folder / TINTWELL_MODULE_FOLDER / TINTWELL_MODULE_FILE).lexically_normal(),
    };
    for (const fs::path& candidate : candidates) {
        std::error_code ignored;
        if (fs::exists(candidate, ignored)) {
            return candidate;
        }
    }
    throw UserError("the effect module was not found: there is no " + candidates[0].string() +
                    " and no " + candidates[1].string() + "; name it with --module FILE or the " +
                    kVariable + " environment variable");
}

fs::path findModule(const std::string& option) {
    const char* const environment = std::getenv(kVariable);
    std::error_code ignored;
    return findModule({option, environment == nullptr ? "" : environment,
                       fs::read_symlink("/proc/self/exe", ignored)});
}

} // namespace tintwell::tool
