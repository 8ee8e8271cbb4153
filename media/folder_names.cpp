#include "media/folder_names.h"

#include "media/media_error.h"

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <system_error>

namespace tintwell::media {
namespace {

struct FolderCloser {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

} // namespace

// libstdc++'s own iterator ends the process where it finds no memory for a name.
std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, FolderCloser> open(::opendir(folder.c_str()));
    if (!open) {
        return names;
    }
    errno = 0;
    while (const dirent* entry = ::readdir(open.get())) {
        names.emplace_back(entry->d_name);
        errno = 0;
    }
    if (const int error = errno; error != 0) {
        throw MediaError(folder + ": the folder cannot be read (" +
                         std::generic_category().message(error) + ")");
    }
    return names;
}

} // namespace tintwell::media
