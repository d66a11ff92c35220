/*
 * pxkit: image-processing and time-of-flight depth kernels with a plain C ABI.
 *
 * Usage pattern: for each operation, create a context once (setup_*), call the
 * operation once per frame with your own buffers, destroy the context at the end.
 *  - Ownership: contexts belong to the caller from setup until destroy. Input and
 *    output buffers always belong to the caller; the library keeps no pointer to
 *    them after a call returns.
 *  - Threads: the ToF, dual-frequency and conversion contexts each own a pool of
 *    4 worker threads. A context serves one caller at a time; separate contexts
 *    may be used from separate threads at once.
 *  - Frame calls allocate nothing. Refusals print one line on standard output
 *    and return a negative code (or null from a setup).
 *  - Results are bit-exact and identical on aarch64 and x86-64.
 */
#ifndef PXKIT_H_
#define PXKIT_H_

#include <stdint.h>

#if defined(PXKIT_BUILDING_LIBRARY)
#define PXKIT_API __attribute__((visibility("default")))
#else
#define PXKIT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Version and placeholders ------------------------------------------- */

/* Writes the 8-byte version (01 01 07 00 E5 07 09 12: major 1, minor 1, u16
 * patch 7, u16 year 2021, month 9, day 18) into `buffer` and returns it.
 * A null buffer is returned unchanged. */
PXKIT_API uint8_t* get_pxkit_version(uint8_t* buffer);

/* Placeholder: no 2-D filter context exists; always returns null. */
PXKIT_API void* setup_filter2d_f32_mono(void);
/* Placeholder: returns at once. */
PXKIT_API void filter2d_mono_f32(void);
/* Placeholder: returns at once. */
PXKIT_API void destroy_filter2d_f32_mono(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* PXKIT_H_ */
