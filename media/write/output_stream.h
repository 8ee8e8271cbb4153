#pragma once

#include "media/files/descriptor.h"

#include <optional>
#include <string>

namespace tintwell::media {

// What is written to as it is, and never given a name: pipes, devices, and what is open already.

/// The descriptor of this process that a name such as /dev/stdout, /dev/fd/3 or a link to one
/// stands for.
std::optional<int> descriptorNamed(const std::string& path);

/// Whether there is something of this name that is no file and no folder.
bool isStream(const std::string& path);

/// Throws MediaError where an open file cannot be written to.
void requireWritable(int descriptor, const std::string& name);

/// The same pipe once more, in a way that does not wait; not open where there is no such way.
Descriptor reopenPipe(int descriptor);

/// Opens a pipe or a device; waits for the reader of a pipe. Throws MediaError, or Interrupted.
Descriptor openStream(const std::string& path, const Interruption& interruption);

} // namespace tintwell::media
