// UCKeyTranslate.cpp: key events through Unicode keyboard-layout ('uchr') data: the modifier
// table, the key-to-character tables, dead-key state records, terminators and sequences.
#include <CoreServices/CoreServices.h>

#include <cstring>
#include <vector>

#include "runtime/Unaligned.h"

namespace {

constexpr UInt16 kNoOutput1 = 0xFFFE;
constexpr UInt16 kNoOutput2 = 0xFFFF;

template <class T>
const T* At(const UCKeyboardLayout* layout, UInt32 offset) {
  return reinterpret_cast<const T*>(reinterpret_cast<const UInt8*>(layout) + offset);
}

struct Translator {
  const UCKeyboardLayout* layout;
  const UCKeyboardTypeHeader* header;
  std::vector<UniChar>* output;

  // Appends a character or a character sequence; false for malformed data.
  bool appendCharacters(UCKeyCharSeq characters) const {
    if (characters == kNoOutput1 || characters == kNoOutput2) return true;
    if ((characters & kUCKeyOutputTestForIndexMask) != kUCKeyOutputSequenceIndexMask) {
      output->push_back(characters);
      return true;
    }
    if (!header->keySequenceDataIndexOffset) return false;
    const auto* sequences = At<UCKeySequenceDataIndex>(layout, header->keySequenceDataIndexOffset);
    if (sequences->keySequenceDataIndexFormat != kUCKeySequenceDataIndexFormat) return false;
    UInt16 index = characters & kUCKeyOutputGetIndexMask;
    if (index >= sequences->charSequenceCount) return false;
    UInt16 begin = sequences->charSequenceOffsets[index];
    UInt16 end = sequences->charSequenceOffsets[index + 1];
    if (end < begin || (end - begin) % 2 != 0) return false;
    const auto* units = reinterpret_cast<const UInt8*>(sequences) + begin;
    for (UInt16 at = 0; at < end - begin; at += 2) {
      output->push_back(zrp::LoadUnaligned<UniChar>(units + at));
    }
    return true;
  }

  // The terminator of a dead-key state (nothing when it has none).
  bool appendTerminator(UInt32 state) const {
    if (state == 0 || !header->keyStateTerminatorsOffset) return true;
    const auto* terminators = At<UCKeyStateTerminators>(layout, header->keyStateTerminatorsOffset);
    if (terminators->keyStateTerminatorsFormat != kUCKeyStateTerminatorsFormat) return false;
    if (state > terminators->keyStateTerminatorCount) return true;
    return appendCharacters(terminators->keyStateTerminators[state - 1]);
  }

  const UCKeyStateRecord* stateRecord(UInt16 index) const {
    if (!header->keyStateRecordsIndexOffset) return nullptr;
    const auto* records = At<UCKeyStateRecordsIndex>(layout, header->keyStateRecordsIndexOffset);
    if (records->keyStateRecordsIndexFormat != kUCKeyStateRecordsIndexFormat) return nullptr;
    if (index >= records->keyStateRecordCount) return nullptr;
    return At<UCKeyStateRecord>(layout, records->keyStateRecordOffsets[index]);
  }

  // The entry of a state record for the current dead-key state: its characters and next state.
  // False when the record has none for that state.
  static bool findEntry(const UCKeyStateRecord* record, UInt32 state, UCKeyCharSeq* characters, UInt32* next,
                        bool* malformed) {
    const UInt8* data = reinterpret_cast<const UInt8*>(record->stateEntryData);
    for (UInt16 i = 0; i < record->stateEntryCount; ++i) {
      if (record->stateEntryFormat == kUCKeyStateEntryTerminalFormat) {
        auto entry = zrp::LoadUnaligned<UCKeyStateEntryTerminal>(data + i * sizeof(UCKeyStateEntryTerminal));
        if (entry.curState != state) continue;
        *characters = entry.charData;
        *next = 0;
        return true;
      }
      if (record->stateEntryFormat == kUCKeyStateEntryRangeFormat) {
        auto entry = zrp::LoadUnaligned<UCKeyStateEntryRange>(data + i * sizeof(UCKeyStateEntryRange));
        if (state < entry.curStateStart || state > static_cast<UInt32>(entry.curStateStart) + entry.curStateRange)
          continue;
        UInt32 delta = (state - entry.curStateStart) * entry.deltaMultiplier;
        bool isCharacter = entry.charData != kNoOutput1 && entry.charData != kNoOutput2 &&
                           (entry.charData & kUCKeyOutputTestForIndexMask) != kUCKeyOutputSequenceIndexMask;
        *characters = isCharacter ? static_cast<UCKeyCharSeq>(entry.charData + delta) : entry.charData;
        *next = entry.nextState ? entry.nextState + delta : 0;
        return true;
      }
      *malformed = true;
      return false;
    }
    return false;
  }
};

}  // namespace

extern "C" OSStatus UCKeyTranslate(const UCKeyboardLayout* keyLayoutPtr, UInt16 virtualKeyCode, UInt16 keyAction,
                                   UInt32 modifierKeyState, UInt32 keyboardType, OptionBits keyTranslateOptions,
                                   UInt32* deadKeyState, UniCharCount maxStringLength, UniCharCount* actualStringLength,
                                   UniChar unicodeString[]) {
  if (!keyLayoutPtr || !deadKeyState || !actualStringLength || (maxStringLength > 0 && !unicodeString) ||
      keyAction > kUCKeyActionDisplay)
    return paramErr;
  *actualStringLength = 0;
  if (keyLayoutPtr->keyLayoutHeaderFormat != kUCKeyLayoutHeaderFormat || keyLayoutPtr->keyboardTypeCount == 0)
    return paramErr;

  const UCKeyboardTypeHeader* header = &keyLayoutPtr->keyboardTypeList[0];
  for (UInt32 i = 0; i < keyLayoutPtr->keyboardTypeCount; ++i) {
    const UCKeyboardTypeHeader* candidate = &keyLayoutPtr->keyboardTypeList[i];
    if (keyboardType >= candidate->keyboardTypeFirst && keyboardType <= candidate->keyboardTypeLast) {
      header = candidate;
      break;
    }
  }

  const auto* modifiers = At<UCKeyModifiersToTableNum>(keyLayoutPtr, header->keyModifiersToTableNumOffset);
  const auto* tables = At<UCKeyToCharTableIndex>(keyLayoutPtr, header->keyToCharTableIndexOffset);
  if (modifiers->keyModifiersToTableNumFormat != kUCKeyModifiersToTableNumFormat ||
      tables->keyToCharTableIndexFormat != kUCKeyToCharTableIndexFormat)
    return paramErr;
  if (keyAction == kUCKeyActionUp) return noErr;

  UInt32 modifierByte = modifierKeyState & 0xFF;
  UInt32 tableNumber =
      modifierByte < modifiers->modifiersCount ? modifiers->tableNum[modifierByte] : modifiers->defaultTableNum;
  if (tableNumber >= tables->keyToCharTableCount) return paramErr;

  UCKeyOutput key = kNoOutput2;
  if (virtualKeyCode < tables->keyToCharTableSize) {
    const auto* table = At<UCKeyOutput>(keyLayoutPtr, tables->keyToCharTableOffsets[tableNumber]);
    key = table[virtualKeyCode];
  }

  std::vector<UniChar> output;
  Translator translator{keyLayoutPtr, header, &output};
  bool display = keyAction == kUCKeyActionDisplay;
  bool deadKeys = !display && !(keyTranslateOptions & kUCKeyTranslateNoDeadKeysMask);
  UInt32 state = display ? 0 : *deadKeyState;
  UInt32 nextState = 0;
  bool wellFormed = true;

  if ((key & kUCKeyOutputTestForIndexMask) == kUCKeyOutputStateIndexMask && key != kNoOutput1 && key != kNoOutput2) {
    const UCKeyStateRecord* record = translator.stateRecord(key & kUCKeyOutputGetIndexMask);
    if (!record) return paramErr;
    UCKeyCharSeq characters = kNoOutput2;
    UInt32 entryNext = 0;
    bool malformed = false;
    if (state != 0 && Translator::findEntry(record, state, &characters, &entryNext, &malformed)) {
      // The key completes the pending dead key, or leads to a further state.
      if (entryNext != 0 && deadKeys) {
        nextState = entryNext;
      } else {
        wellFormed = translator.appendCharacters(characters);
      }
    } else if (malformed) {
      return paramErr;
    } else {
      // No completion: the pending dead key ends with its terminator, then the key acts alone.
      wellFormed = translator.appendTerminator(state);
      if (record->stateZeroNextState != 0 && deadKeys) {
        nextState = record->stateZeroNextState;
      } else if (record->stateZeroCharData != kNoOutput1 && record->stateZeroCharData != kNoOutput2) {
        wellFormed = wellFormed && translator.appendCharacters(record->stateZeroCharData);
      } else {
        // A dead key that is not used as one shows what it would give when ended.
        wellFormed = wellFormed && translator.appendTerminator(record->stateZeroNextState);
      }
    }
  } else {
    wellFormed = translator.appendTerminator(state) && translator.appendCharacters(key);
  }
  if (!wellFormed) return paramErr;

  if (output.size() > maxStringLength) return kUCOutputBufferTooSmall;
  if (!output.empty()) memcpy(unicodeString, output.data(), output.size() * sizeof(UniChar));
  *actualStringLength = output.size();
  if (!display) *deadKeyState = nextState;
  return noErr;
}
