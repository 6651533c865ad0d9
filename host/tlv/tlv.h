// The wire form of TLV records, for the codec of the platform and for the manager.
//
//   offset 0  2 bytes  zero
//   offset 2  2 bytes  length of what follows, big-endian
//   then for each field: tag (2 bytes), length (2 bytes), value (big-endian)
#ifndef HOST_TLV_TLV_H
#define HOST_TLV_TLV_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tlv {

struct Field {
  uint16_t tag;
  uint32_t value;
};

inline void append16(std::vector<uint8_t>& out, uint32_t value) {
  out.push_back(static_cast<uint8_t>(value >> 8));
  out.push_back(static_cast<uint8_t>(value));
}

// A record of numbers of 32 bits.
inline std::vector<uint8_t> encode(std::span<const Field> fields) {
  std::vector<uint8_t> out;
  append16(out, 0);
  append16(out, static_cast<uint32_t>(fields.size() * 8));
  for (const Field& field : fields) {
    append16(out, field.tag);
    append16(out, 4);
    append16(out, field.value >> 16);
    append16(out, field.value);
  }
  return out;
}

inline uint32_t read16(std::span<const uint8_t> bytes, size_t at) { return uint32_t{bytes[at]} << 8 | bytes[at + 1]; }

// The fields of a record, or nothing when the bytes are not one: a wrong length anywhere, or a value that is not 4
// bytes.
inline std::optional<std::vector<Field>> decode(std::span<const uint8_t> bytes) {
  if (bytes.size() < 4 || read16(bytes, 0) != 0 || read16(bytes, 2) != bytes.size() - 4) return std::nullopt;
  if ((bytes.size() - 4) % 8 != 0) return std::nullopt;
  std::vector<Field> fields;
  for (size_t at = 4; at < bytes.size(); at += 8) {
    if (read16(bytes, at + 2) != 4) return std::nullopt;
    fields.push_back({static_cast<uint16_t>(read16(bytes, at)), read16(bytes, at + 4) << 16 | read16(bytes, at + 6)});
  }
  return fields;
}

}  // namespace tlv

#endif
