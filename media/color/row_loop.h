#pragma once

namespace tintwell::media {
namespace detail {

#if defined(__x86_64__)
inline const bool kHasAvx2 = __builtin_cpu_supports("avx2") != 0;

template <auto Loop, class... Arguments>
[[gnu::target("avx2"), gnu::flatten]] void runWithAvx2(Arguments... arguments) {
    Loop(arguments...);
}
#endif

} // namespace detail

/// Runs a loop over a row as compiled for the processor at hand. For loops on whole numbers, whose
/// results do not depend on how they are compiled.
template <auto Loop, class... Arguments>
void runRowLoop(Arguments... arguments) {
#if defined(__x86_64__)
    if (detail::kHasAvx2) {
        detail::runWithAvx2<Loop>(arguments...);
        return;
    }
#endif
    Loop(arguments...);
}

} // namespace tintwell::media
