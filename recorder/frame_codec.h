// Compresses snapshots, each with the one before it as its prefix, and restores them.
#ifndef RECORDER_FRAME_CODEC_H
#define RECORDER_FRAME_CODEC_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

struct ZSTD_CCtx_s;
struct ZSTD_DCtx_s;

namespace recorder {

class FrameEncoder {
 public:
   // Stores the compressed `snapshot` in `*stored`; `prefix` is the parent's snapshot, empty for a key frame.
   // False when there is no memory for it.
   bool Encode(std::span<const uint8_t> snapshot, std::span<const uint8_t> prefix,
               std::vector<uint8_t> *stored, std::string *problem);

 private:
   struct Free {
      void operator()(ZSTD_CCtx_s *context) const;
   };
   std::unique_ptr<ZSTD_CCtx_s, Free> context;
};

class FrameDecoder {
 public:
   // Restores a snapshot of exactly `rawBytes` bytes. False for what is none. The memory it needs is that of
   // the result and a fixed amount, whatever `stored` claims.
   bool Decode(std::span<const uint8_t> stored, std::span<const uint8_t> prefix, uint64_t rawBytes,
               std::vector<uint8_t> *snapshot, std::string *problem);

 private:
   struct Free {
      void operator()(ZSTD_DCtx_s *context) const;
   };
   std::unique_ptr<ZSTD_DCtx_s, Free> context;
};

} // namespace recorder

#endif
