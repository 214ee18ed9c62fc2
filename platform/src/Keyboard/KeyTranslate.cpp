// KeyTranslate.cpp: key events through an old-style 'KCHR' layout: one 8-bit Mac OS Roman
// table per modifier combination, and dead-key records with their completions.
#include <Carbon/Events.h>

#include <cstddef>

namespace {

UInt16 BigEndian16(const UInt8* bytes) { return static_cast<UInt16>((bytes[0] << 8) | bytes[1]); }

constexpr size_t kModifierMapOffset = 2;
constexpr size_t kTableCountOffset = kModifierMapOffset + 256;
constexpr size_t kTablesOffset = kTableCountOffset + 2;
constexpr size_t kTableSize = 128;

// The start of dead-key record `index` (0-based) after the tables; records vary in length.
const UInt8* DeadKeyRecord(const UInt8* data, UInt16 tableCount, UInt16 index, UInt16* recordCount) {
  const UInt8* at = data + kTablesOffset + static_cast<size_t>(tableCount) * kTableSize;
  *recordCount = BigEndian16(at);
  at += 2;
  for (UInt16 i = 0; i < index && i < *recordCount; ++i) at += 4 + 2 * static_cast<size_t>(BigEndian16(at + 2)) + 2;
  return at;
}

}  // namespace

extern "C" UInt32 KeyTranslate(const void* transData, UInt16 keycode, UInt32* state) {
  if (!transData || !state) return 0;
  const UInt8* data = static_cast<const UInt8*>(transData);
  if (keycode & 0x80) return 0;  // a key going up

  UInt8 virtualKey = keycode & 0x7F;
  UInt8 modifiers = static_cast<UInt8>(keycode >> 8);
  UInt16 tableCount = BigEndian16(data + kTableCountOffset);
  UInt8 tableNumber = data[kModifierMapOffset + modifiers];
  if (tableNumber >= tableCount) return 0;
  UInt8 character = data[kTablesOffset + static_cast<size_t>(tableNumber) * kTableSize + virtualKey];

  UInt16 recordCount = 0;
  if (*state != 0) {
    // The key after a dead key: its completion, or the dead key's own character and this one.
    UInt32 index = *state - 1;
    *state = 0;
    const UInt8* record = DeadKeyRecord(data, tableCount, static_cast<UInt16>(index), &recordCount);
    if (index >= recordCount) return character;
    UInt16 completions = BigEndian16(record + 2);
    for (UInt16 i = 0; i < completions; ++i) {
      if (record[4 + 2 * i] == character) return record[4 + 2 * i + 1];
    }
    UInt8 noMatch = record[4 + 2 * completions + 1];
    return (static_cast<UInt32>(noMatch) << 16) | character;
  }

  DeadKeyRecord(data, tableCount, 0, &recordCount);
  for (UInt16 i = 0; i < recordCount; ++i) {
    UInt16 ignored = 0;
    const UInt8* record = DeadKeyRecord(data, tableCount, i, &ignored);
    if (record[0] == tableNumber && record[1] == virtualKey) {
      *state = static_cast<UInt32>(i) + 1;
      return 0;
    }
  }
  return character;
}
