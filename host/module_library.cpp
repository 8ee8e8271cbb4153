#include "host/module_library.h"

#include <string>
#include <system_error>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace tintwell::host {

namespace {

// The platform's loader: open and find give null on failure, lastLoaderError then tells why.
#ifdef _WIN32

void* openLibrary(const std::filesystem::path& file) {
    return LoadLibraryW(file.c_str());
}

void closeLibrary(void* library) {
    FreeLibrary(static_cast<HMODULE>(library));
}

void* findSymbol(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

std::string lastLoaderError() {
    return std::system_category().message(static_cast<int>(GetLastError()));
}

#else

// RTLD_NOW: a module that lacks a symbol fails here, with a message, and not in the middle of a
// render.
void* openLibrary(const std::filesystem::path& file) {
    return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void closeLibrary(void* library) {
    dlclose(library);
}

void* findSymbol(void* library, const char* name) {
    return dlsym(library, name);
}

std::string lastLoaderError() {
    const char* text = dlerror(); // NOLINT(concurrency-mt-unsafe): per thread in every libc we use
    return text == nullptr ? "unknown reason" : text;
}

#endif

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& reason) {
    throw ModuleLoadError("effect module '" + file.string() + "': " + reason);
}

void* openChecked(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) {
        fail(file, "there is no such file");
    }
    // An absolute path, because a bare file name would be looked for in the system's folders.
    void* library = openLibrary(std::filesystem::absolute(file));
    if (library == nullptr) {
        fail(file, "not a module that can be loaded here: " + lastLoaderError());
    }
    return library;
}

} // namespace

ModuleLibrary::ModuleLibrary(const std::filesystem::path& file)
    : library_(openChecked(file)),
      entryPoint_(reinterpret_cast<EffectMain*>(findSymbol(library_, "main"))) {
    if (entryPoint_ == nullptr) {
        closeLibrary(library_);
        fail(file, "not an effect module: it exports no function 'main'");
    }
}

ModuleLibrary::~ModuleLibrary() {
    closeLibrary(library_);
}

} // namespace tintwell::host
