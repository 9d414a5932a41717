#include "tests/model_l/fftw_watch.h"

#include <cstddef>
#include <dlfcn.h>

// What this program calls by these names is found here first; the library's own stand behind.

namespace {

int held = 0, callsLeft = -1;
bool failed = false;

template <class Function> Function* behind(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool failsNow() {
    if (callsLeft < 0 || callsLeft-- > 0)
        return false;
    failed = true;
    return true;
}

} // namespace

int fftwWatch_held() {
    return held;
}
void fftwWatch_failAfter(int calls) {
    callsLeft = calls;
    failed = false;
}
bool fftwWatch_hasFailed() {
    return failed;
}

extern "C" {

void* fftw_malloc(size_t bytes) {
    if (failsNow())
        return nullptr;
    ++held;
    return behind<void*(size_t)>("fftw_malloc")(bytes);
}

void fftw_free(void* block) {
    held -= block != nullptr ? 1 : 0;
    behind<void(void*)>("fftw_free")(block);
}

void* fftw_plan_dft_r2c_1d(int length, double* in, double (*out)[2], unsigned flags) {
    if (failsNow())
        return nullptr;
    ++held;
    return behind<void*(int, double*, double(*)[2], unsigned)>("fftw_plan_dft_r2c_1d")(length, in, out, flags);
}

void fftw_destroy_plan(void* plan) {
    --held;
    behind<void(void*)>("fftw_destroy_plan")(plan);
}
}
