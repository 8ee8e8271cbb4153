#pragma once

#include "media/files/descriptor.h"

#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace tintwell::media {

// What the system does with names of files. Where a number is given back it is an errno value or 0.

/// An empty file of a name that nothing has yet, links included; not open where that failed.
Descriptor createExclusive(const std::string& path, mode_t mode);

/// A file in this folder that has no name and goes with the process, which `giveName` is sure to
/// be able to name. Not open where the system or the file system has no such thing.
Descriptor createNameless(const std::string& folder, const std::string& trialName, mode_t mode);

/// Never over an existing file.
int giveName(int descriptor, const std::string& path);

/// Never over an existing file.
int renameIfAbsent(const std::string& from, const std::string& to);

int renameOver(const std::string& from, const std::string& to);

/// A second name for a file; not of what a link leads to.
int addName(const std::string& path, const std::string& name);

/// Gives up the name; without a word where there is none.
void removeName(const std::string& path) noexcept;

/// Sees to it that the file is on the disk.
int writeThrough(int descriptor);

enum class Lock { Taken, HeldByOther, NotKnown };

/// A mark on the open file, which goes with the process.
Lock tryLock(int descriptor);

/// Owner, permissions, access list and the user's attributes of one file for another, as far as
/// they may be given. What was kept from others stays so.
void takeOverRights(int from, const struct stat& status, int to);

/// Whether the name stands for this open file.
bool isNameOf(const std::string& path, int descriptor);

} // namespace tintwell::media
