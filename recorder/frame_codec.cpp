#include "recorder/frame_codec.h"

#include <algorithm>
#include <bit>

#include <zstd.h>

#include "recorder/segment_format.h"

namespace recorder {

namespace {

constexpr int kLevel = 8;

// From this length on, the tables of the compressor forget the start of the parent before they get there, and
// the long-distance matcher finds it. Below, that only keeps the compressor from better matches.
constexpr uint64_t kLongDistance = 16 << 20;

// The smallest window that reaches from the end of a snapshot back to the start of its parent.
int WindowLog(uint64_t bytes)
{
   constexpr int kLeast = 17;
   return std::max(kLeast, static_cast<int>(std::bit_width(bytes)));
}

constexpr int kMaxWindowLog = 30;
static_assert((uint64_t{1} << kMaxWindowLog) > 2 * kMaxRawBytes);

std::string Problem(const char *what, size_t result)
{
   return std::string(what) + ZSTD_getErrorName(result);
}

} // namespace

void FrameEncoder::Free::operator()(ZSTD_CCtx_s *context) const
{
   ZSTD_freeCCtx(context);
}

bool FrameEncoder::Encode(std::span<const uint8_t> snapshot, std::span<const uint8_t> prefix,
                          std::vector<uint8_t> *stored, std::string *problem)
{
   if (context == nullptr) {
      context.reset(ZSTD_createCCtx());
      if (context == nullptr) {
         *problem = "out of memory";
         return false;
      }
      ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, kLevel);
      ZSTD_CCtx_setParameter(context.get(), ZSTD_c_contentSizeFlag, 1);
      ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 0);
   }
   ZSTD_CCtx_reset(context.get(), ZSTD_reset_session_only);
   // Matches with the parent lie as far back as the snapshot is long.
   ZSTD_CCtx_setParameter(context.get(), ZSTD_c_windowLog, WindowLog(snapshot.size() + prefix.size()));
   ZSTD_CCtx_setParameter(context.get(), ZSTD_c_enableLongDistanceMatching,
                          !prefix.empty() && snapshot.size() + prefix.size() >= kLongDistance ? 1 : 0);
   if (!prefix.empty()) {
      ZSTD_CCtx_refPrefix(context.get(), prefix.data(), prefix.size());
   }
   stored->resize(ZSTD_compressBound(snapshot.size()));
   const size_t size =
      ZSTD_compress2(context.get(), stored->data(), stored->size(), snapshot.data(), snapshot.size());
   if (ZSTD_isError(size)) {
      *problem = Problem("cannot be compressed: ", size);
      return false;
   }
   stored->resize(size);
   return true;
}

void FrameDecoder::Free::operator()(ZSTD_DCtx_s *context) const
{
   ZSTD_freeDCtx(context);
}

bool FrameDecoder::Decode(std::span<const uint8_t> stored, std::span<const uint8_t> prefix, uint64_t rawBytes,
                          std::vector<uint8_t> *snapshot, std::string *problem)
{
   if (context == nullptr) {
      context.reset(ZSTD_createDCtx());
      if (context == nullptr) {
         *problem = "out of memory";
         return false;
      }
      ZSTD_DCtx_setParameter(context.get(), ZSTD_d_windowLogMax, kMaxWindowLog);
   }
   // What the stored bytes say of themselves, before memory is set aside for it.
   if (ZSTD_getFrameContentSize(stored.data(), stored.size()) != rawBytes ||
       ZSTD_findFrameCompressedSize(stored.data(), stored.size()) != stored.size()) {
      *problem = "other lengths than its header states";
      return false;
   }
   ZSTD_DCtx_reset(context.get(), ZSTD_reset_session_only);
   if (!prefix.empty()) {
      ZSTD_DCtx_refPrefix(context.get(), prefix.data(), prefix.size());
   }
   snapshot->resize(static_cast<size_t>(rawBytes));
   const size_t size =
      ZSTD_decompressDCtx(context.get(), snapshot->data(), snapshot->size(), stored.data(), stored.size());
   if (ZSTD_isError(size)) {
      *problem = Problem("cannot be decompressed: ", size);
      return false;
   }
   if (size != rawBytes) {
      *problem = "other lengths than its header states";
      return false;
   }
   return true;
}

} // namespace recorder
