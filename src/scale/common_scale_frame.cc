// The frame call: checks the context and runs the kernel chosen at creation.
#include <cstdint>
#include <cstring>

#include "common/diag.h"
#include "pxkit.h"
#include "scale/common_scale_context.h"

extern "C" PXKIT_API int32_t common_img_scale(void* context, const void* src, void* dst) {
  using namespace pxkit;
  if (context == nullptr || src == nullptr || dst == nullptr) {
    diag::format("[error]: null ctx %p, or null src %p dst %p\n", context, src, dst);
    return -1;
  }
  const auto* ctx = static_cast<const common_img_scale_ctx*>(context);
  std::uint32_t magic = 0;
  std::memcpy(&magic, context, sizeof magic);
  if (magic != scale::kScaleMagic) {
    diag::format("[error]: bad magic 0x%08x\n", magic);
    return -2;
  }
  if (ctx->func_scale == nullptr) {
    diag::line("[error]: null func_scale");
    return -3;
  }
  ctx->func_scale(ctx, src, dst);
  return 0;
}
