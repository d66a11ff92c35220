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

/* ---- Data-code perspective crop sampler ---------------------------------- */

/* An 8-bit grey image: `stride` bytes per row, `data` owned by the caller. */
typedef struct datacode_image {
  uint32_t width, height, stride;
  uint8_t* data;
} datacode_image; /* 24 bytes on LP64 */

/* The crop maps destination pixel (i, j) through the 3 x 3 row-major matrix h,
 * each entry taken as Q19 fixed point (x 2^19, truncated, saturated to int32):
 * with X = i + x_offset + 1 and Y = j + y_offset + 1 (32-bit wrapping sums)
 *   num_x = h0 X + h1 Y + h2, num_y = h3 X + h4 Y + h5, den = h6 X + h7 Y + h8
 * and the source point qx = num_x / den, qy = num_y / den (truncated; 0 when
 * den is 0). Destination pixels whose point lies outside 1..width-3 by
 * 1..height-3 of the source are 0. The bilinear fractions are exact only when
 * den is 2^19, i.e. the matrix's last row evaluates to 1.0: normalise it so.
 *
 * Context for the pooled crop of a fixed source, destination, matrix and
 * offset, with a private pool of `threads` workers (1..32) and
 * min(threads, 8) stripes of destination rows. Only src's width, height and
 * data are kept: the pooled crop IGNORES the source stride and reads every
 * sample pair from the source's first row (rows qy and qy + 1 both address
 * row 0). Its fractions are the remainders scaled by 2^-11 (8-bit fractions
 * when den is 2^19) and its blend wraps in 32-bit unsigned arithmetic.
 * Returns null after "[error]: params not valid" (threads 0 or a null pointer)
 * or "[error]: no memory". If the pool cannot be made ("error: thread pool
 * create fail") the context has no pool and the pooled call refuses it.
 * Free with destroy_datacode_bili_inter_crop_ctx. */
PXKIT_API void* create_datacode_bili_inter_crop_ctx(int32_t threads, const datacode_image* src,
                                                    const datacode_image* dst,
                                                    const float* matrix, uint32_t x_offset,
                                                    uint32_t y_offset);
/* Runs the stripes on the context's pool and waits for them. Returns 0; -1
 * after "fatal: internal bug, thread_pool ..., number_of_parallel ..." for a
 * context without pool or stripes (null included); -2 after "fatal: add task
 * fail". One caller at a time per context. Allocates nothing. */
PXKIT_API int32_t datacode_bili_inter_crop_parallel_u8(void* ctx);
/* Stops the pool and frees the context; null is ignored. */
PXKIT_API void destroy_datacode_bili_inter_crop_ctx(void* ctx);
/* The same mapping over the whole destination on the calling thread, reading
 * the source through its stride; returns 0 (-1 after "[error]: params not
 * valid" for a null record or matrix, or null data of a non-empty output).
 * Allocates nothing; any thread, any number at once. Fractions are eighths of a pixel
 * (meant for den = 2^19). Each row is made of groups of 8 pixels from column 0
 * while a group starts below width - 8, then a tail of the remaining columns
 * (every column when the destination is narrower than 9). The groups step
 * their numerators with saturating 32-bit additions and ROUND the fractions
 * and the blend (16-bit arithmetic, saturating shifts); the tail recomputes the
 * numerators with wrapping arithmetic and TRUNCATES both, so a row's last
 * columns may differ by one level from what the groups would give. */
PXKIT_API int32_t datacode_bili_inter_crop_u8(const datacode_image* src,
                                              const datacode_image* dst, const float* matrix,
                                              uint32_t x_offset, uint32_t y_offset);

/* ---- Dense linear solver ------------------------------------------------- */

/* Solves A x = b for the n x n row-major f32 matrix A (n = matrix_dimension)
 * by LU decomposition with partial pivoting (the first of equal largest
 * magnitudes wins), fused multiply-adds throughout, on the calling thread
 * (no state: calls from several threads may run at once).
 * flags bit 0 set: A is decomposed in place (overwritten; rows stay where they
 * are) and for n <= 512 nothing is allocated; clear: A is copied and left
 * untouched, and if memory runs out the call returns 0 WITHOUT solving or
 * writing x. Returns 0 with x written; -1 when a pivot magnitude is below
 * 0.0001 ("degenerate matrix" then "degenerate matrix(NxN)"; for n = 1 only an
 * exact zero, "degenerate matrix(1x1)"), x untouched; -3 after
 * "bad parameters ..." for a null pointer or n = 0. A negative n does nothing
 * and returns 0. */
PXKIT_API int32_t solve_f32(float* matrix_a, float* x, const float* b, int32_t matrix_dimension,
                            uint8_t flags);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* PXKIT_H_ */
