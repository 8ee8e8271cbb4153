// Loaded into the program before all other libraries: lets one call, or all from one on, fail while
// main runs. Linux with glibc only.

#include "faults/fault_record.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

using tintwell::tool::FaultKind;
using tintwell::tool::FaultRecord;

namespace {

constexpr unsigned kSecondsUntilHung = 30;

FaultRecord* record = nullptr;
std::atomic<bool> mainRuns{false};
__attribute__((tls_model("initial-exec"))) thread_local bool isTracing = false;

using Main = int (*)(int, char**, char**);
Main programMain = nullptr;

/// The function that would have been called without this library.
template <class Function>
Function* real(Function* /*own*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void trace(FaultRecord::Trace& text) {
    isTracing = true;
    void* frames[32];
    const int count = backtrace(frames, 32);
    std::size_t used = 0;
    for (int i = 2; i < count && used < text.size(); ++i) {
        Dl_info info{};
        dladdr(frames[i], &info);
        const char* slash = info.dli_fname != nullptr ? std::strrchr(info.dli_fname, '/') : nullptr;
        const auto offset = static_cast<char*>(frames[i]) - static_cast<char*>(info.dli_fbase);
        used += static_cast<std::size_t>(
            std::snprintf(text.data() + used, text.size() - used, "%s %s +0x%tx\n",
                          slash != nullptr ? slash + 1 : "?",
                          info.dli_sname != nullptr ? info.dli_sname : "?", offset));
    }
    isTracing = false;
}

bool fails(FaultKind kind, int error) {
    if (!mainRuns || record == nullptr || record->kind != kind || isTracing) {
        return false;
    }
    const std::uint64_t call = ++record->calls;
    if (call == record->failing) {
        trace(record->failed);
    }
    const bool now = call == record->failing ||
                     (record->lasting != 0 && record->failing != 0 && call > record->failing);
    if (now) {
        errno = error;
    }
    return now;
}

/// What is read from or written to the standard streams is somebody else's.
bool fails(FaultKind kind, int error, int descriptor) {
    return descriptor > STDERR_FILENO && fails(kind, error);
}

void noteCrash(int signal) {
    trace(record->crashed);
    std::signal(signal, SIG_DFL);
    raise(signal);
}

int runMain(int count, char** arguments, char** environment) {
    mainRuns = true;
    const int code = programMain(count, arguments, environment);
    mainRuns = false;
    return code;
}

__attribute__((constructor)) void begin() {
    void* first[1];
    backtrace(first, 1); // loads what it needs
    const char* name = std::getenv(FaultRecord::kVariable);
    const int file = name != nullptr ? open(name, O_RDWR | O_CLOEXEC) : -1;
    void* memory = mmap(nullptr, sizeof(FaultRecord), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        _exit(126);
    }
    close(file);
    record = static_cast<FaultRecord*>(memory);
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGALRM}) {
        std::signal(signal, noteCrash);
    }
    alarm(kSecondsUntilHung);
}

mode_t modeOf(int flags, va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

} // namespace

#pragma GCC visibility push(default) // the program must find them

extern "C" {

int __libc_start_main(Main main, int count, char** arguments, void (*init)(), void (*fini)(),
                      void (*loaderFini)(), void* stackEnd) {
    programMain = main;
    return real(&__libc_start_main, "__libc_start_main")(runMain, count, arguments, init, fini,
                                                         loaderFini, stackEnd);
}

// What the program's own malloc and its like are made of.

void* __libc_malloc(std::size_t size) {
    return fails(FaultKind::Memory, ENOMEM) ? nullptr : real(&__libc_malloc, "__libc_malloc")(size);
}

void* __libc_calloc(std::size_t count, std::size_t size) {
    return fails(FaultKind::Memory, ENOMEM) ? nullptr
                                            : real(&__libc_calloc, "__libc_calloc")(count, size);
}

void* __libc_realloc(void* block, std::size_t size) {
    return fails(FaultKind::Memory, ENOMEM) ? nullptr
                                            : real(&__libc_realloc, "__libc_realloc")(block, size);
}

void* __libc_memalign(std::size_t alignment, std::size_t size) {
    return fails(FaultKind::Memory, ENOMEM)
               ? nullptr
               : real(&__libc_memalign, "__libc_memalign")(alignment, size);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) {
    return fails(FaultKind::Thread, EAGAIN)
               ? EAGAIN
               : real(&pthread_create, "pthread_create")(thread, attributes, run, argument);
}

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return fails(FaultKind::Open, EMFILE) ? -1 : real(&open, "open")(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return fails(FaultKind::Open, EMFILE) ? -1 : real(&open64, "open64")(path, flags, mode);
}

ssize_t read(int file, void* bytes, std::size_t size) {
    return fails(FaultKind::Read, EIO, file) ? -1 : real(&read, "read")(file, bytes, size);
}

ssize_t pread(int file, void* bytes, std::size_t size, off_t place) {
    return fails(FaultKind::Read, EIO, file) ? -1 : real(&pread, "pread")(file, bytes, size, place);
}

ssize_t pread64(int file, void* bytes, std::size_t size, off64_t place) {
    return fails(FaultKind::Read, EIO, file) ? -1
                                             : real(&pread64, "pread64")(file, bytes, size, place);
}

ssize_t write(int file, const void* bytes, std::size_t size) {
    return fails(FaultKind::Write, ENOSPC, file) ? -1 : real(&write, "write")(file, bytes, size);
}

ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t place) {
    return fails(FaultKind::Write, ENOSPC, file)
               ? -1
               : real(&pwrite, "pwrite")(file, bytes, size, place);
}

ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t place) {
    return fails(FaultKind::Write, ENOSPC, file)
               ? -1
               : real(&pwrite64, "pwrite64")(file, bytes, size, place);
}

int close(int file) {
    const bool failing = fails(FaultKind::Close, EIO, file);
    const int code = real(&close, "close")(file);
    if (failing) {
        errno = EIO;
    }
    return failing ? -1 : code;
}

int rename(const char* from, const char* to) noexcept {
    return fails(FaultKind::Rename, EIO) ? -1 : real(&rename, "rename")(from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept {
    return fails(FaultKind::Rename, EIO)
               ? -1
               : real(&renameat2, "renameat2")(fromFolder, from, toFolder, to, flags);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
    return fails(FaultKind::Rename, EIO)
               ? -1
               : real(&linkat, "linkat")(fromFolder, from, toFolder, to, flags);
}

int fsync(int file) {
    return fails(FaultKind::Sync, EIO) ? -1 : real(&fsync, "fsync")(file);
}

} // extern "C"

#pragma GCC visibility pop
