// The 2-D filter entry points are reserved in the ABI but have no behaviour:
// no filter context is ever made.
#include "pxkit.h"

extern "C" PXKIT_API void* setup_filter2d_f32_mono(void) { return nullptr; }
extern "C" PXKIT_API void filter2d_mono_f32(void) {}
extern "C" PXKIT_API void destroy_filter2d_f32_mono(void) {}
