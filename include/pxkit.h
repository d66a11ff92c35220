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
 *    may be used from separate threads at once. If a pool cannot start all its
 *    workers, the context gets no pool and its frame calls run a serial path on
 *    the calling thread (each call says so); the workers that did start are
 *    left running, blocked and idle, for the life of the process (by design).
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
 * phase image or depth_out is null, height is negative, width x height exceeds
 * INT32_MAX, or padded amplitude rows would be more than INT32_MAX elements
 * apart; nothing is written then.
 * Serial path (a context whose workers could not start): the frame runs on the
 * calling thread, planar, without shift or reverse, 6.10 fixed point; the depth
 * type is not checked (a float call on a fixed-point context returns 0 and
 * writes f32 depth), amplitude rows are packed (not padded), and the calls
 * without offset neither add an offset nor wrap the depth. */
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
 * -1 if the context was set up for float depth, -2 as the float call. */
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
/* Angle of (x, y) in [0, 2pi]: 0 along +x, pi/2 along +y; x = 0 or NaN gives pi/2
 * (y >= 0) or 3pi/2. A tiny negative y with x > 0 gives 6.2831855f, the f32 of
 * 2pi. A NaN y counts as negative: 3pi/2 for x = 0 or NaN, 4.7202053 (x > 0) or
 * 4.7045727 (x < 0), the saturated values of those quadrants. */
PXKIT_API float fast_atan2(float y, float x);
/* atan(r), odd-symmetric, saturating at +-1.56298 for |r| >= 128; fast_atan(0) is -0.0. */
PXKIT_API float fast_atan(float r);
/* As fast_atan, from the table entry alone (no interpolation). Both give
 * -1.56298 for NaN. */
PXKIT_API float fast_atan_nearest(float r);
/* atan(r) folded into [0, pi): negative r gives pi - atan(|r|). */
PXKIT_API float fast_atan_pi(float r);
/* As fast_atan_pi, without interpolation. Both give 1.5786127 (pi - 1.56298) for NaN. */
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
 * Null if `option` is null, m0 or m1 is negative ("error: invalid params"), or
 * memory runs out. */
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
 * INT32_MAX converts nothing). Returns 0, or -1 for a null context, an
 * unsupported width, or a null source or destination with a non-zero count
 * (nothing written). Without a pool it converts on the calling thread. */
PXKIT_API int32_t fixed2float(fixed_float_context* ctx, uint32_t count, const void* fixed,
                              float* floats);
/* fixed[i] = trunc(floats[i] x 2^mantissa_bits), saturating to 32 bits (NaN -> 0),
 * low 8 or 16 bits stored for narrow widths. Returns 0, or -1 as fixed2float. */
PXKIT_API int32_t float2fixed(fixed_float_context* ctx, uint32_t count, const float* floats,
                              void* fixed);

/* ---- 8-bit YUV 4:2:0 frame scaling (NV12 -> I420) ------------------------ */

/* Image record of the 8-bit scaling calls: plane pointers and row strides in
 * bytes. Planes a format does not use are ignored. */
typedef struct img_planes {
  uint8_t* plane[4];      /* planes 0, 1, 2; the fourth is never read */
  uint32_t stride[3];     /* bytes per row of planes 0, 1, 2 */
} img_planes;             /* 48 bytes on LP64; keep this layout */

/* Pixel formats (one byte each in the library). */
#define PXKIT_FORMAT_YUV420SP 1u /* luma plane, then one plane of interleaved chroma pairs (NV12) */
#define PXKIT_FORMAT_YUV420P 2u  /* luma plane, then two chroma planes (I420) */
/* Scale methods. */
#define PXKIT_SCALE_BILINEAR 2u /* bilinear, up or down */
#define PXKIT_SCALE_AREA 3u     /* area average; both sides must shrink strictly */
/* Flags of create_img_scale_ctx. */
#define PXKIT_SCALE_FLAG_TABLE_ROWS 1u /* whole-frame bilinear driver that reads its row count from
                                        * the tables (same results as without) */
#define PXKIT_SCALE_FLAG_BANDED 4u     /* each img_scale call makes the next 16-row band */

/* Context that scales format-1 frames of src_width x src_height into format-2
 * frames of dst_width x dst_height (chroma sizes are the luma sizes >> 1), by
 * `method`. Refuses (null, one line on standard output) zero arguments, other
 * formats or methods, equal sizes, and for PXKIT_SCALE_AREA sizes that do not
 * shrink in both directions; an area context prints its two factors. Runs on
 * the caller's thread. Free with destroy_img_scale_ctx. Bilinear up-scaling
 * reads one column and one row beyond the source (luma and chroma): source
 * buffers must hold them. */
PXKIT_API void* create_img_scale_ctx(uint32_t src_width, uint32_t src_height, uint32_t dst_width,
                                     uint32_t dst_height, uint32_t src_format, uint32_t dst_format,
                                     uint32_t method, uint32_t flags);
/* Scales one frame (or, banded, writes the next band of 16 luma and 8 chroma
 * rows at the start of the destination planes). Returns 0; -1 for a null
 * pointer, -2 for a bad context, -3 for a context without a driver. Allocates
 * nothing; one thread at a time per context. */
PXKIT_API int32_t img_scale(void* ctx, const img_planes* src, const img_planes* dst);
/* Frees a context of either method; null is ignored. */
PXKIT_API void destroy_img_scale_ctx(void* ctx);
/* ---- Analysis: sparse Scharr gradients ----------------------------------- */

/* Caller-owned storage filled by init_sparse_scharr_ctx. The grid covers every
 * step-th column from column 0 and every step-th row from row 1 while the row
 * is below row_limit: height - 2 grid rows for step 1, sparse_height - 1 for
 * step 2, sparse_height for larger steps (none when row_limit < 2). */
typedef struct sparse_scharr_ctx {
  int32_t width, height, step;    /* image size (width is also the source pitch), grid spacing */
  int32_t sparse_width;           /* width / step: grid columns, pitch of both outputs */
  int32_t sparse_height;          /* height / step */
  int32_t row_limit;              /* sparse_height x step - 1 */
  int16_t* smooth[3];             /* scratch rows (null for step 2, which needs none) */
  int16_t* diff[3];
} sparse_scharr_ctx;              /* 72 bytes on LP64 */

/* Fills `ctx` for width x height 8-bit images and grid spacing `step`. Returns
 * 0, -1 ("bad params": null ctx or a zero size or step) or -2 ("no memory").
 * Negative sizes are accepted as they are, but frames then compute nothing. */
PXKIT_API int32_t init_sparse_scharr_ctx(sparse_scharr_ctx* ctx, int32_t width, int32_t height,
                                         int32_t step);
/* Scharr gradient at each grid point of `src` (height rows of width bytes):
 * magnitude = min(|gx| + |gy|, 255) and code = code_table[(gy + 256) x 512 +
 * gx + 256] (gx, gy in -255..255; the table is 512 x 512 bytes), written row
 * after row with pitch sparse_width. The first grid column mirrors its left
 * neighbour (gx = 0 there); so does the last when sparse_width x step = width.
 * Prints "bad params" for a null argument. Reports no status: returns 0, which
 * callers may ignore. Calling thread only; one context serves one thread. */
PXKIT_API int32_t do_sparse_scharr(sparse_scharr_ctx* ctx, const uint8_t* code_table,
                                   const uint8_t* src, uint8_t* magnitude, uint8_t* code);
/* Frees the scratch rows; null is ignored. */
PXKIT_API void deinit_sparse_scharr_ctx(sparse_scharr_ctx* ctx);

/* ---- Analysis: Scharr edge suppression (s1) ------------------------------ */

/* Pixel types of do_sparse_scharr_s1 and do_sparse_scharr_s1_v2. */
#define SPARSE_SCHARR_S1_U16 1u /* uint16_t pixels */
#define SPARSE_SCHARR_S1_F32 2u /* float pixels */

/* Context for width x height images (pitch = width pixels). threads > 1 makes a
 * pool of `threads` workers (at most 32) and cuts frames into min(threads, 8)
 * stripes; 0 or 1 (or a pool that cannot start) runs frames on the calling
 * thread. Returns null after "bad params" (zero size) or "no memory".
 * A context serves one caller at a time. */
PXKIT_API void* init_sparse_scharr_s1_ctx(uint32_t threads, uint32_t width, uint32_t height);
/* dst = src with every interior pixel whose full-size Scharr sum |gx| + |gy|
 * exceeds `threshold` set to 0; the one-pixel frame of dst is always 0. For
 * u16 the threshold is truncated toward zero and compared signed (a negative
 * one zeroes every pixel). src and dst must not overlap (an overlapping dst
 * comes back all 0). Prints "bad params" (null argument) or "data type is
 * invalid, %d" and writes nothing. Reports no status: returns 0. */
PXKIT_API int32_t do_sparse_scharr_s1(void* ctx, const void* src, void* dst, uint32_t data_type,
                                      float threshold);
/* As do_sparse_scharr_s1; with dynamic_normalization != 0 on a pooled context,
 * f32 pixels are zeroed when (|gx| + |gy|) / (pixel + epsilon) > threshold
 * (epsilon 0 means 1e-5), and u16 pixels are refused with "not support dynamic
 * normalization for u16 now" (dst all 0). A single-threaded context ignores
 * dynamic_normalization and epsilon. Returns 0. */
PXKIT_API int32_t do_sparse_scharr_s1_v2(void* ctx, const void* src, void* dst,
                                         uint32_t dynamic_normalization, uint32_t data_type,
                                         float threshold, float epsilon);
/* Frees the context and its scratch; null is ignored. It does NOT stop the
 * context's worker threads: they stay blocked for the life of the process (a
 * deliberate leak), so make one pooled context and keep it, not one per frame. */
PXKIT_API void deinit_sparse_scharr_s1_ctx(void* ctx);
/* ---- Bicubic scanline sampler and colour conversion with scaling -------- */

/* Pixel formats (one byte each in the library). */
/* PXKIT_FORMAT_YUV420SP (1) and PXKIT_FORMAT_YUV420P (2) are defined above. */
#define PXKIT_FORMAT_RGBX 4u  /* packed 32-bit, bytes R, G, B, X (X ignored) */
#define PXKIT_FORMAT_XBGR 5u  /* packed 32-bit, bytes X, B, G, R (X ignored) */
#define PXKIT_FORMAT_RGB24 7u /* packed 24-bit, bytes R, G, B */
#define PXKIT_FORMAT_BGR24 8u /* packed 24-bit, bytes B, G, R */
#define PXKIT_FORMAT_GREY 10u /* one byte per pixel */

/* Fills dst[0, count) with bicubic samples (cubic convolution, parameter `a`,
 * e.g. -1) of the 8-bit image `src` (src_width x src_height, rows unpadded) at
 * the source positions (x0 + k dx, y0 + k dy), k = 0 .. count - 1. Outputs
 * whose 4 x 4 neighbourhood leaves the usable area are 0 (the first usable
 * output after the line enters is also 0; so is a position that float
 * rounding puts on the border, which would read outside the image). Each sum
 * is truncated and its low 8 bits stored: values of 256 or more wrap;
 * negative, NaN or infinite sums give 0. When dx or dy is 0 the constant coordinate is only tested against
 * [0, size): rows (columns) one before to two after it are read as they fall,
 * so the caller must provide that memory. Never writes outside dst[0, count):
 * a line that lies wholly outside is all zeros; a NaN position gives zeros.
 * No state; any thread. */
PXKIT_API void scanline_bicubic_f32(const uint8_t* src, uint8_t* dst, uint32_t src_width,
                                    uint32_t src_height, int32_t count, int32_t a, float x0,
                                    float y0, float dx, float dy);

typedef struct scale_color_conversion_ctx {   /* caller-owned; zero it before the first setup */
  uint32_t* p_scale_index_x;  /* byte offset of each destination column in a source row */
  uint32_t* p_scale_index_y;  /* source row of each destination row (same block as x) */
  uint32_t src_width, src_height, dst_width, dst_height;
  uint8_t src_format, dst_format, scaling, magic;
} scale_color_conversion_ctx;                 /* magic at byte offset 35 on LP64 */

/* Prepares `ctx` to convert src_format images to dst_format, resizing by
 * nearest neighbour. Pairs: 1 -> 2 (chroma averaged over 2 x 2 when scaling),
 * 7, 8, 4, 5 -> 10 (luma (4899 R + 9618 G + 1868 B) >> 14) and 10 -> 10.
 * Returns 0; -1 for a null ctx or a zero argument; -2 for another pair (ctx
 * untouched); -3 when the index tables cannot be allocated. Different sizes
 * allocate one table block. Setting up a context whose tables still exist
 * prints a warning and forgets the old block without freeing it: call
 * destroy_scale_color_conversion first. */
PXKIT_API int setup_scale_color_conversion(scale_color_conversion_ctx* ctx, uint32_t src_width,
                                           uint32_t src_height, uint32_t dst_width,
                                           uint32_t dst_height, int32_t src_format,
                                           uint32_t dst_format);
/* Converts one frame (sizes from ctx; strides from the records; buffers are not
 * checked). For 1 -> 2 the chroma planes are (width >> 1) x (height >> 1);
 * an odd scaled destination gets its last column or row of luma only.
 * Returns 0; -1 for a null pointer; -2 for a bad magic or pair. Allocates
 * nothing; a context may serve several threads at once. */
PXKIT_API int do_scale_color_conversion(scale_color_conversion_ctx* ctx, const img_planes* src,
                                        const img_planes* dst);
/* Frees the tables and zero-fills the context; null is ignored. */
PXKIT_API void destroy_scale_color_conversion(scale_color_conversion_ctx* ctx);
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
