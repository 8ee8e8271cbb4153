#include "host/declaration/module_file.h"

#include "host/declaration/elf_file.h"
#include "host/declaration/windows_file.h"

namespace tintwell::declaration {

ByteView findPropertyList(const ByteView& file) {
    if (isElf(file)) {
        return findSectionInElf(file);
    }
    if (isWindowsProgram(file)) {
        return findResourceInWindowsProgram(file);
    }
    throw FormatError(0, "this is neither an ELF module nor one for Windows");
}

} // namespace tintwell::declaration
