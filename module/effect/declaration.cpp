// Lays the declaration into a section of its own in an ELF module. Nothing refers to it: hosts
// find it in the file.

#include "module/effect/declaration.h"

#if __has_attribute(retain)
#define TINTWELL_KEEP gnu::used, gnu::retain // also from a linker that drops unused sections
#else
#define TINTWELL_KEEP gnu::used
#endif

namespace tintwell {
namespace {

[[TINTWELL_KEEP, gnu::section(TINTWELL_PROPERTY_LIST_SECTION)]] constexpr auto kInModule =
    kDeclaration;

} // namespace
} // namespace tintwell
