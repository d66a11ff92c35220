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
 *    (or hand it to pxkit_set_message_handler's handler) and return a negative
 *    code (or null from a setup).
 *  - Results are bit-exact and identical on aarch64 and x86-64.
 */
#ifndef PXKIT_H_
#define PXKIT_H_

#include <stdint.h>

#include "pxkit_version.h" /* PXKIT_VERSION_MAJOR, _MINOR, _PATCH, _STRING */

#if defined(PXKIT_BUILDING_LIBRARY)
#define PXKIT_API __attribute__((visibility("default")))
#else
#define PXKIT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Version and placeholders ------------------------------------------- */

/* Writes the 8-byte version of the loaded library into `buffer` and returns it:
 * major (u8), minor (u8), patch (u16), then the build date: year (u16), month,
 * day (u8 each), integers little-endian. The release this header belongs to is
 * PXKIT_VERSION_*; the date is 2021-09-18 (E5 07 09 12). A null buffer is
 * returned unchanged. */
PXKIT_API uint8_t* get_pxkit_version(uint8_t* buffer);

/* Placeholder: no 2-D filter context exists; always returns null. */
PXKIT_API void* setup_filter2d_f32_mono(void);
/* Placeholder: returns at once. */
PXKIT_API void filter2d_mono_f32(void);
/* Placeholder: returns at once. */
PXKIT_API void destroy_filter2d_f32_mono(void);

/* ---- Messages -------------------------------------------------------------- */

/* Receives one diagnostic line of the library, without its trailing line feed
 * (at most 511 characters; longer lines are cut). */
typedef void (*pxkit_message_fn)(const char* line, void* user);
/* Sends every later diagnostic of the library (refusals, option reports) to
 * `fn` with `user` instead of standard output; null restores standard output.
 * May be called at any time, before any context exists. The setting is
 * process-wide: `fn` is called on the thread that reports (the caller's, or a
 * pool worker for "error: invalid task"), possibly from several threads at
 * once, so it must be thread-safe; it must not call back into pxkit. */
PXKIT_API void pxkit_set_message_handler(pxkit_message_fn fn, void* user);

/* ---- Single-frequency time-of-flight depth and amplitude ----------------- */

/* Options of setup_tof_context (eight u8 fields; 0 turns a feature off). */
typedef struct tof_option {
  uint8_t enable_substract_interleave;    /* inputs hold pairs (a, b) per pixel; sample = a - b */
  uint8_t right_shift_bits;               /* non-zero: amplitude >> 4 before cut_higher_amplitude_bits */
  uint8_t reverse_90_270;                 /* swap the 90 and 270 degree samples */
  uint8_t cut_higher_amplitude_bits;      /* amplitude << this many bits (high bits fall out) */
  uint8_t mantissa_bits;                  /* fixed-point depth fraction bits, 0 = 10 (6.10), max 15 */
  uint8_t depth_out_use_float;            /* depth as f32; 0 = i16 fixed point */
  uint8_t amplitude_output_32bytes_align; /* amplitude rows padded to a multiple of 32 elements */
  uint8_t amplitude_out_use_16bit;        /* amplitude as u16; 0 = u8 */
} tof_option;

typedef struct tof_context tof_context; /* opaque */

/* Makes a context with a 4-worker pool; prints the options. Null if `option` is
 * null or memory runs out. Free with destroy_tof_context. */
PXKIT_API tof_context* setup_tof_context(const tof_option* option);
/* Stops the workers and frees the context; null is ignored. */
PXKIT_API void destroy_tof_context(tof_context* ctx);

/* Depth (f32, radians x depth_scale, wrapped into one period) and optional
 * amplitude (null = none) from four i16 phase images of width x height pixels.
 * Returns 0, -1 if the context was set up for fixed-point depth, -2 if ctx, a
 * phase image or depth_out is null. A context whose workers could not start runs
 * the frame on the calling thread, planar, without shift or reverse. */
PXKIT_API int32_t cal_tof_depth_amplitude_float(tof_context* ctx, uint32_t width, int32_t height,
    const int16_t* phase_0, const int16_t* phase_90, const int16_t* phase_180,
    const int16_t* phase_270, float* depth_out, void* amplitude_out, float depth_scale);
/* Same as cal_tof_depth_amplitude_float. */
PXKIT_API int32_t cal_tof_depth_amplitude_float_v2(tof_context* ctx, uint32_t width, int32_t height,
    const int16_t* phase_0, const int16_t* phase_90, const int16_t* phase_180,
    const int16_t* phase_270, float* depth_out, void* amplitude_out, float depth_scale);
/* As cal_tof_depth_amplitude_float, adding depth_offset after scaling; the offset
 * stays in force for later calls without one on the same context. */
PXKIT_API int32_t cal_tof_depth_amplitude_float_v3(tof_context* ctx, uint32_t width, int32_t height,
    const int16_t* phase_0, const int16_t* phase_90, const int16_t* phase_180,
    const int16_t* phase_270, float* depth_out, void* amplitude_out, float depth_scale,
    float depth_offset);
/* Fixed-point depth (low 16 bits of trunc(depth x 2^mantissa_bits)). Returns 0,
 * -1 if the context was set up for float depth, -2 for null arguments. */
PXKIT_API int32_t cal_tof_depth_amplitude_fixed16(tof_context* ctx, uint32_t width, int32_t height,
    const int16_t* phase_0, const int16_t* phase_90, const int16_t* phase_180,
    const int16_t* phase_270, int16_t* depth_out, void* amplitude_out, float depth_scale);
/* Same as cal_tof_depth_amplitude_fixed16. */
PXKIT_API int32_t cal_tof_depth_amplitude_fixed16_v2(tof_context* ctx, uint32_t width, int32_t height,
    const int16_t* phase_0, const int16_t* phase_90, const int16_t* phase_180,
    const int16_t* phase_270, int16_t* depth_out, void* amplitude_out, float depth_scale);
/* As cal_tof_depth_amplitude_fixed16 with depth_offset (kept for later calls). */
PXKIT_API int32_t cal_tof_depth_amplitude_fixed16_v3(tof_context* ctx, uint32_t width, int32_t height,
    const int16_t* phase_0, const int16_t* phase_90, const int16_t* phase_180,
    const int16_t* phase_270, int16_t* depth_out, void* amplitude_out, float depth_scale,
    float depth_offset);

/* Table-interpolated arctangents (4096-entry table, grid step 1/16). */
/* Angle of (x, y) in [0, 2pi): 0 along +x, pi/2 along +y; x = 0 or NaN gives pi/2 or 3pi/2. */
PXKIT_API float fast_atan2(float y, float x);
/* atan(r), odd-symmetric, saturating at +-1.56298 for |r| >= 128; fast_atan(0) is -0.0. */
PXKIT_API float fast_atan(float r);
/* As fast_atan, from the table entry alone (no interpolation). */
PXKIT_API float fast_atan_nearest(float r);
/* atan(r) folded into [0, pi): negative r gives pi - atan(|r|). */
PXKIT_API float fast_atan_pi(float r);
/* As fast_atan_pi, without interpolation. */
PXKIT_API float fast_atan_pi_nearest(float r);

/* ---- Dual-frequency time-of-flight decoding ------------------------------ */

/* Options of setup_tof_dual_context: one packed 64-bit word, then m1 (12 bytes). */
typedef struct tof_dual_option {
  uint32_t enable_substract_interleave : 1; /* bit 0: each term is even minus odd sample */
  uint32_t enable_substract_channel : 1;    /* bit 1: channel plane kept (never read) */
  uint32_t depth_out_use_float : 1;         /* bit 2: must be set to decode */
  uint32_t amplitude_out_use_16bit : 1;     /* bit 3: u16 amplitude; 0 = u8 */
  uint32_t output_distance_0 : 1;           /* bit 4: distance_0 plane required */
  uint32_t output_distance_1 : 1;           /* bit 5: distance_1 plane required */
  uint32_t : 2;                             /* bits 6-7 reserved */
  uint32_t right_shift_bits : 4;            /* bits 8-11: zero / non-zero only */
  uint32_t mantissa_bits : 4;               /* bits 12-15: reported only */
  uint32_t cut_higher_amplitude_bits : 4;   /* bits 16-19 */
  uint32_t : 12;                            /* bits 20-31 reserved */
  int32_t m0;                               /* bits 32-63: unwrapping multiple of frequency 0 */
  int32_t m1;                               /* unwrapping multiple of frequency 1 */
} tof_dual_option;

typedef struct tof_dual_context tof_dual_context; /* opaque */

/* Makes a dual-frequency context with a 4-worker pool; prints the options.
 * Null if `option` is null or memory runs out. */
PXKIT_API tof_dual_context* setup_tof_dual_context(const tof_dual_option* option);
/* Stops the workers and frees the context; null is ignored. */
PXKIT_API void destroy_tof_dual_context(tof_dual_context* ctx);
/* Decodes 8 u16 sample planes (p0-p3 frequency 0, p4-p7 frequency 1) into
 * unwrapped depth in wraps of frequency 1, and optional amplitude (rows
 * amplitude_pitch elements apart). Returns 0; -1 without depth_out_use_float;
 * -2 / -3 when a requested distance plane is null; -4 for a null context or a
 * null depth or sample plane of a non-empty frame. Without a pool it runs a
 * simpler serial path (frequency 0 only, distances written, no amplitude). */
PXKIT_API int32_t itof_dual_dec_float(tof_dual_context* ctx, uint32_t width, uint32_t height,
    const uint16_t* p0, const uint16_t* p1, const uint16_t* p2, const uint16_t* p3,
    const uint16_t* p4, const uint16_t* p5, const uint16_t* p6, const uint16_t* p7,
    const void* channel_plane, float* depth, float* distance_0, float* distance_1,
    void* amplitude, uint32_t amplitude_pitch, float scale, float offset_0, float offset_1);

/* ---- Fixed-point <-> float array conversion ------------------------------ */

typedef struct fixed_float_option {
  uint8_t fixed_is_signed; /* non-zero: signed fixed-point elements */
  uint8_t fixed_bits;      /* 8, 16 or 32 */
  uint8_t mantissa_bits;   /* fraction bits; the factor is (int32)1 << (mantissa_bits % 32) */
} fixed_float_option;

typedef struct fixed_float_context fixed_float_context; /* opaque */

/* Context for fixed2float (4-worker pool); prints the options. Null if `option`
 * is null or memory runs out. Free with destroy_fixed2float_context. */
PXKIT_API fixed_float_context* setup_fixed2float_context(const fixed_float_option* option);
/* Context for float2fixed; free with destroy_fixed2float_context. */
PXKIT_API fixed_float_context* setup_float2fixed_context(const fixed_float_option* option);
/* Frees a context of either direction; null is ignored. */
PXKIT_API void destroy_fixed2float_context(fixed_float_context* ctx);
/* floats[i] = fixed[i] / 2^mantissa_bits for `count` elements (a count above
 * INT32_MAX converts nothing). Returns 0, or -1 for a null context or an
 * unsupported width. */
PXKIT_API int32_t fixed2float(fixed_float_context* ctx, uint32_t count, const void* fixed,
                              float* floats);
/* fixed[i] = trunc(floats[i] x 2^mantissa_bits), saturating to 32 bits (NaN -> 0),
 * low 8 or 16 bits stored for narrow widths. Returns 0, or -1 as fixed2float. */
PXKIT_API int32_t float2fixed(fixed_float_context* ctx, uint32_t count, const float* floats,
                              void* fixed);

/* ---- Bilinear scaling of single-channel u16 / f32 images ------------------ */
/* Codes of create_common_img_scale_ctx. */
#define PXKIT_SCALE_DATA_U16 1u        /* 16-bit unsigned samples */
#define PXKIT_SCALE_DATA_F32 2u        /* 32-bit float samples */
#define PXKIT_SCALE_METHOD_BILINEAR 2u /* the only method of this interface */
/* Makes a context that scales src_width x src_height images to dst_width x
 * dst_height (strides in bytes) by 11-bit fixed-point bilinear interpolation;
 * destination pixel i reads source position i x src_width / dst_width. Builds the
 * tables, an intermediate of src_height x dst_width 4-byte elements, and chooses
 * the kernel. Null (with one line on standard output) for a zero size or method,
 * another data type or method, equal sizes (a copy is refused), or no memory.
 * Free with destroy_common_img_scale_ctx. */
PXKIT_API void* create_common_img_scale_ctx(uint32_t src_width, uint32_t src_stride,
    uint32_t src_height, uint32_t dst_width, uint32_t dst_stride, uint32_t dst_height,
    uint32_t method, uint32_t data_type);
/* Scales one frame on the calling thread; allocates nothing. `src` must hold
 * src_stride x src_height bytes with rows of at least src_width samples, `dst`
 * dst_stride x dst_height bytes with rows of dst_width samples (not checked).
 * f32 samples are interpolated in integers: interpolated pixels lose fractions and
 * negative values (-> 0), copied ones keep their bits. Returns 0; -1 for a null
 * pointer, -2 for a context without the magic word, -3 for one without a kernel.
 * One thread at a time per context (its intermediate is scratch). */
PXKIT_API int32_t common_img_scale(void* ctx, const void* src, void* dst);
/* Frees the context and its buffers; null is ignored. */
PXKIT_API void destroy_common_img_scale_ctx(void* ctx);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* PXKIT_H_ */
