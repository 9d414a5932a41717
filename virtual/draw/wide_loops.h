#pragma once
/// Long loops of plain arithmetic for the widest vectors that the processor at hand has. The results are those of the
/// baseline to the last bit: products and sums are not fused in either.

namespace vi {

#ifdef __x86_64__

template <class Loop> [[gnu::target("avx2"), gnu::flatten]] void wideLoops_runAvx2(const Loop& loop) {
    loop();
}
template <class Loop>
[[gnu::target("avx512f,avx512dq,avx512bw,avx512vl"), gnu::flatten]] void wideLoops_runAvx512(const Loop& loop) {
    loop();
}

/// Runs the loop. It calls nothing but inline functions.
template <class Loop> void wideLoops_run(const Loop& loop) {
    static const bool avx512 = __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0;
    static const bool avx2 = __builtin_cpu_supports("avx2") != 0;
    if (avx512)
        wideLoops_runAvx512(loop);
    else if (avx2)
        wideLoops_runAvx2(loop);
    else
        loop();
}

#else

template <class Loop> void wideLoops_run(const Loop& loop) {
    loop();
}

#endif

} // namespace vi
