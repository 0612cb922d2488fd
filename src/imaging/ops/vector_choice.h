// What is chosen at run time: AVX2 or not, and plain loops compiled twice, for the baseline and for AVX2.
#pragma once

namespace quillmark::imaging {

#if defined(__x86_64__)

inline bool has_avx2() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

template <typename Body, typename... Arguments>
__attribute__((target("avx2"))) void run_avx2(Arguments... arguments) {
    Body::run(arguments...);
}

template <typename Body, typename... Arguments>
void run_baseline(Arguments... arguments) {
    Body::run(arguments...);
}

/// Calls Body::run(arguments...), a static member that must be always inlined: only then are its loops
/// compiled for the wider vectors. Both versions give the same results.
template <typename Body, typename... Arguments>
void run_widest(Arguments... arguments) {
    has_avx2() ? run_avx2<Body, Arguments...>(arguments...) : run_baseline<Body, Arguments...>(arguments...);
}

#else

constexpr bool has_avx2() { return false; }

template <typename Body, typename... Arguments>
void run_widest(Arguments... arguments) {
    Body::run(arguments...);
}

#endif

}  // namespace quillmark::imaging
