#pragma once

#include "module/interface/host_interface.h"

#include <filesystem>
#include <stdexcept>

namespace tintwell::host {

/// The module could not be loaded; the text names the file and the reason.
class ModuleLoadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An effect module loaded into this process, unloaded with this object. Loading and unloading may
/// happen on any thread.
class ModuleLibrary {
public:
    /// Throws ModuleLoadError when the file is missing, is not a module that this system can load,
    /// or exports no function `main`.
    explicit ModuleLibrary(const std::filesystem::path& file);
    ~ModuleLibrary();

    ModuleLibrary(const ModuleLibrary&) = delete;
    ModuleLibrary& operator=(const ModuleLibrary&) = delete;

    /// Valid while this object lives.
    EffectMain* entryPoint() const { return entryPoint_; }

private:
    void* library_;
    EffectMain* entryPoint_;
};

} // namespace tintwell::host
