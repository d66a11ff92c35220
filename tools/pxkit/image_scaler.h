// The tool's use of the bilinear scaling context: a holder that creates it,
// turns the library's refusal line into a CliError, and scales frames.
#pragma once

#include <pxkit.h>

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"

namespace pxcli {

class ImageScaler {
 public:
  // data_type: PXKIT_SCALE_DATA_U16 or PXKIT_SCALE_DATA_F32; packed rows.
  // Throws CliError with the library's message when it refuses the geometry.
  ImageScaler(Size from, Size to, std::uint32_t data_type);
  ~ImageScaler() { destroy_common_img_scale_ctx(ctx_); }
  ImageScaler(const ImageScaler&) = delete;
  ImageScaler& operator=(const ImageScaler&) = delete;

  // `src` holds from.pixels() samples, `dst` to.pixels(); throws LibraryError
  // if a frame is refused.
  void run(const void* src, void* dst) const;

 private:
  void* ctx_ = nullptr;
};

}  // namespace pxcli
