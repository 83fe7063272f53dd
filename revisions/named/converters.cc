// Byte-order converters: see the header.
#include "revisions/named/converters.h"

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

void SwapField(const Field& field, uint8_t* record) {
  const size_t width = field.width();
  for (size_t i = 0; field.unit() == FieldUnit::kQuadset && i < width; i += 4) {
    Swap32At(record + field.at + i);
  }
  if (field.unit() == FieldUnit::kBytes || field.unit() == FieldUnit::kQuadset) return;
  if (width == 2) Swap16At(record + field.at);
  if (width == 4) Swap32At(record + field.at);
}

}  // namespace

void SwapEntry(const Form& form, uint8_t* entry) {
  for (const Field& field : form.Fields()) {
    const bool absent = field.role == Role::kSecondRatio && (entry[form.second_flags] & 0x80) != 0;
    if (!absent) SwapField(field, entry);
  }
}

void SwapElement(Kind kind, uint8_t* element) {
  for (const Field& field : FieldsOfList(ItemRowOf(kind).fields)) SwapField(field, element);
}

void ntoh_PMONquadset(void* dst, const void* src) {
  const auto* p = static_cast<const uint8_t*>(src);
  const PMONquadset words = {Load32(p), Load32(p + 4), Load32(p + 8), Load32(p + 12)};
  std::memcpy(dst, &words, sizeof words);
}

void ntoh_ExSta(void* words, int n) {
  auto* p = static_cast<uint8_t*>(words);
  for (int i = 0; i < n; ++i, p += 4) Swap32At(p);
}
