#pragma once

#include <filesystem>
#include <string>

namespace tintwell::tool {

/// Where to look for the effect module. Empty texts say nothing.
struct ModuleSearch {
    std::string option;               ///< value of --module
    std::string environment;          ///< value of TINTWELL_MODULE
    std::filesystem::path executable; ///< this program's own file
};

/// What was asked for, else the module beside the executable or in ../lib/tintwell/ of it, as an
/// absolute path. Throws UserError where neither place has one. A file that was asked for need not
/// exist: loading it tells.
std::filesystem::path findModule(const ModuleSearch& search);

/// The same with the environment and the executable of this process.
std::filesystem::path findModule(const std::string& option);

} // namespace tintwell::tool
