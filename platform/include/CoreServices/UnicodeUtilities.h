// UnicodeUtilities.h: Unicode keyboard-layout data ('uchr') and UCKeyTranslate, which turns a
// virtual key code, modifier state and dead-key state into the characters a layout gives; and
// UCCompareTextDefault, which compares texts by the platform's collation options.
//
// The data is laid out as on the platform, in the host's byte order: a UCKeyboardLayout header
// and the sections its offsets (counted from the header's first byte) point to.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

// Key actions.
enum {
  kUCKeyActionDown = 0,     // a key going down
  kUCKeyActionUp = 1,       // a key going up: produces nothing
  kUCKeyActionAutoKey = 2,  // a key repeating while held: as kUCKeyActionDown
  kUCKeyActionDisplay = 3   // what the key shows (as a key cap would): dead keys show their own
                            // character and the dead-key state is neither read nor changed
};

// Translation options.
enum { kUCKeyTranslateNoDeadKeysBit = 0 };
enum { kUCKeyTranslateNoDeadKeysMask = 1UL << kUCKeyTranslateNoDeadKeysBit };

// Formats of the sections.
enum {
  kUCKeyLayoutHeaderFormat = 0x1002,
  kUCKeyLayoutFeatureInfoFormat = 0x2001,
  kUCKeyModifiersToTableNumFormat = 0x3001,
  kUCKeyToCharTableIndexFormat = 0x4001,
  kUCKeyStateRecordsIndexFormat = 0x5001,
  kUCKeyStateTerminatorsFormat = 0x6001,
  kUCKeySequenceDataIndexFormat = 0x7001
};

// A UCKeyOutput (an entry of a key-to-character table) or a UCKeyCharSeq (a character of a
// state record) is a UTF-16 unit, unless its two top bits say it is an index: 01 a state
// record (UCKeyOutput only), 10 a character sequence. 0xFFFE and 0xFFFF produce nothing.
enum {
  kUCKeyOutputStateIndexMask = 0x4000,
  kUCKeyOutputSequenceIndexMask = 0x8000,
  kUCKeyOutputTestForIndexMask = 0xC000,
  kUCKeyOutputGetIndexMask = 0x3FFF
};
typedef UInt16 UCKeyOutput;
typedef UInt16 UCKeyCharSeq;

// State entry formats.
enum { kUCKeyStateEntryTerminalFormat = 0x0001, kUCKeyStateEntryRangeFormat = 0x0002 };

typedef struct UCKeyStateEntryTerminal {
  UInt16 curState;
  UCKeyCharSeq charData;
} UCKeyStateEntryTerminal;

typedef struct UCKeyStateEntryRange {
  UInt16 curStateStart;
  UInt8 curStateRange;
  UInt8 deltaMultiplier;
  UCKeyCharSeq charData;
  UInt16 nextState;
} UCKeyStateEntryRange;

typedef struct UCKeyStateRecord {
  UCKeyCharSeq stateZeroCharData;
  UInt16 stateZeroNextState;
  UInt16 stateEntryCount;
  UInt16 stateEntryFormat;
  UInt32 stateEntryData[1];  // stateEntryCount entries of stateEntryFormat
} UCKeyStateRecord;

typedef struct UCKeyModifiersToTableNum {
  UInt16 keyModifiersToTableNumFormat;
  UInt16 defaultTableNum;
  UInt32 modifiersCount;
  UInt8 tableNum[1];  // modifiersCount entries
} UCKeyModifiersToTableNum;

typedef struct UCKeyToCharTableIndex {
  UInt16 keyToCharTableIndexFormat;
  UInt16 keyToCharTableSize;  // entries in each table (the highest key code plus one)
  UInt32 keyToCharTableCount;
  UInt32 keyToCharTableOffsets[1];  // keyToCharTableCount offsets of UCKeyOutput arrays
} UCKeyToCharTableIndex;

typedef struct UCKeyStateRecordsIndex {
  UInt16 keyStateRecordsIndexFormat;
  UInt16 keyStateRecordCount;
  UInt32 keyStateRecordOffsets[1];
} UCKeyStateRecordsIndex;

typedef struct UCKeyStateTerminators {
  UInt16 keyStateTerminatorsFormat;
  UInt16 keyStateTerminatorCount;
  UCKeyCharSeq keyStateTerminators[1];  // the terminator of state n is entry n - 1
} UCKeyStateTerminators;

typedef struct UCKeySequenceDataIndex {
  UInt16 keySequenceDataIndexFormat;
  UInt16 charSequenceCount;
  UInt16 charSequenceOffsets[1];  // charSequenceCount + 1 offsets from this structure's start
} UCKeySequenceDataIndex;

typedef struct UCKeyboardTypeHeader {
  UInt32 keyboardTypeFirst;
  UInt32 keyboardTypeLast;
  UInt32 keyModifiersToTableNumOffset;
  UInt32 keyToCharTableIndexOffset;
  UInt32 keyStateRecordsIndexOffset;  // 0: no state records
  UInt32 keyStateTerminatorsOffset;   // 0: no terminators
  UInt32 keySequenceDataIndexOffset;  // 0: no sequences
} UCKeyboardTypeHeader;

typedef struct UCKeyboardLayout {
  UInt16 keyLayoutHeaderFormat;
  UInt16 keyLayoutDataVersion;
  UInt32 keyLayoutFeatureInfoOffset;
  UInt32 keyboardTypeCount;
  UCKeyboardTypeHeader keyboardTypeList[1];
} UCKeyboardLayout;

// Translates one key event through the layout. modifierKeyState is the high byte of the event's
// modifiers (cmdKey >> 8 and so on); keyboardType picks the first keyboard-type header whose
// range holds it (the first header when none does). With kUCKeyActionDown or AutoKey a dead key
// stores its state in *deadKeyState and produces nothing; the next key completes it (or, without
// a completion, produces the state's terminator followed by its own output). Returns paramErr for
// a NULL pointer, an unknown key action or data whose header or section formats are not those
// above; kUCOutputBufferTooSmall (nothing written, *actualStringLength 0) when the characters
// do not fit in maxStringLength units. A key code beyond the layout's tables produces nothing.
CF_EXPORT OSStatus UCKeyTranslate(const UCKeyboardLayout* keyLayoutPtr, UInt16 virtualKeyCode, UInt16 keyAction,
                                  UInt32 modifierKeyState, UInt32 keyboardType, OptionBits keyTranslateOptions,
                                  UInt32* deadKeyState, UniCharCount maxStringLength, UniCharCount* actualStringLength,
                                  UniChar unicodeString[]);

// Comparison of Unicode text by the platform's collation options.
typedef UInt32 UCCollateOptions;
enum {
  kUCCollateComposeInsensitiveMask = 1u << 1,       // precomposed and decomposed forms are equal
  kUCCollateWidthInsensitiveMask = 1u << 2,         // full-width and half-width forms are equal
  kUCCollateCaseInsensitiveMask = 1u << 3,          // upper, title and lower case are equal
  kUCCollateDiacritInsensitiveMask = 1u << 4,       // characters with and without diacritics are equal
  kUCCollatePunctuationSignificantMask = 1u << 15,  // punctuation and spaces count (else ignored)
  kUCCollateDigitsOverrideMask = 1u << 16,          // digits of every script sort as digits
  kUCCollateDigitsAsNumberMask = 1u << 17,          // runs of digits compare by their value
  kUCCollateStandardOptions = kUCCollateComposeInsensitiveMask | kUCCollateWidthInsensitiveMask
};
enum { kUCCollateTypeHFSExtended = 1, kUCCollateTypeShiftBits = 24 };
enum { kUCCollateTypeMask = 0xFF000000u };

// Compares two texts in the order of the root locale under the options. *equivalent (when
// given) tells whether they are equal under the options; *order (when given) is -1, 0 or 1.
// paramErr for a NULL text with a non-zero length, or when neither result is asked for.
CF_EXPORT OSStatus UCCompareTextDefault(UCCollateOptions options, const UniChar* text1Ptr, UniCharCount text1Length,
                                        const UniChar* text2Ptr, UniCharCount text2Length, Boolean* equivalent,
                                        SInt32* order);

CF_EXTERN_C_END
