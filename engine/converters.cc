// Byte-order converters: see the header.
#include "engine/converters.h"

#include "engine/byteorder.h"

namespace {

void Swap16At(uint8_t* p) {
  const uint16_t v = Load16(p);
  std::memcpy(p, &v, sizeof v);
}

void Swap32At(uint8_t* p) {
  const uint32_t v = Load32(p);
  std::memcpy(p, &v, sizeof v);
}

void SwapQuadset(uint8_t* p) {
  for (size_t word = 0; word < kQuadsetSize; word += 4) Swap32At(p + word);
}

}  // namespace

void SwapEntry(const Form& form, uint8_t* entry) {
  Swap32At(entry + kAtStatus);
  Swap32At(entry + kAtInterval);
  if (form.key.number) Swap16At(entry + form.key.at[0]);
  if (form.ratio != kNone) Swap16At(entry + form.ratio);
  if (form.second_ratio != kNone && (entry[form.second_flags] & 0x80) == 0) {
    Swap16At(entry + form.second_ratio);
  }
  for (const int8_t at : form.carried) {
    if (at != kNone) Swap32At(entry + at);
  }
  for (const uint8_t at : form.more16) {
    if (at != 0) Swap16At(entry + at);
  }
  for (const uint8_t at : form.more32) {
    if (at != 0) Swap32At(entry + at);
  }
  for (size_t i = 0; i < form.quadsets; ++i) {
    SwapQuadset(entry + form.quadsets_at + i * kQuadsetSize);
  }
  for (const uint8_t at : form.more_quadsets) {
    if (at != 0) SwapQuadset(entry + at);
  }
}

void SwapElement(Kind kind, uint8_t* element) {
  if (kind != kWaittm) return;  // pair elements are kept as bytes
  Swap16At(element);
  SwapQuadset(element + kQuadsetSize);
}
