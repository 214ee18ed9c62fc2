// KeyboardLayouts.cpp: the current keyboard layout over libxkbcommon: where its names come
// from, its compilation into the platform's Unicode layout data ('uchr'), and the calls that
// hand it out (KLGetCurrentKeyboardLayout, KLGetKeyboardLayoutProperty, the Script Manager's
// keyboard variables, GetResource, LMGetKbdType).
#include "Keyboard/KeyboardLayouts.h"

#include <Carbon/Carbon.h>
#include <ZRPlatform/Testing.h>
#include <linux/input-event-codes.h>
#include <strings.h>
#include <sys/stat.h>
#include <unicode/unorm2.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <vector>

#include "CFString/StringImpl.h"
#include "Keyboard/KeyCodes.h"
#include "runtime/Files.h"
#include "runtime/NoThrow.h"

// A compiled or presented layout. References stay valid for the life of the process.
struct OpaqueKeyboardLayoutRef {
  SInt32 identifier = 0;
  KeyboardLayoutKind kind = kKLuchrKind;
  std::string name;  // kKLName, and the constant string's bytes
  CFStringRef nameString = nullptr;
  std::string model;  // the XKB model, for the keyboard type
  bool hasKCHR = false;
  bool hasUchr = false;
  std::vector<UInt32> kchr;  // 4-byte aligned storage of the resources' bytes
  std::vector<UInt32> uchr;
  Ptr kchrMaster = nullptr;  // the resources' master pointers: their handles point here
  Ptr uchrMaster = nullptr;
};

namespace zrp::keyboard {
namespace {

// ---- Where the names come from ------------------------------------------------------------

std::string Unquote(std::string value) {
  while (!value.empty() && (value.back() == ' ' || value.back() == '\t' || value.back() == '\r')) value.pop_back();
  size_t start = value.find_first_not_of(" \t");
  value = start == std::string::npos ? "" : value.substr(start);
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
    value = value.substr(1, value.size() - 2);
  return value;
}

struct ConfigurationFiles {
  std::string defaultKeyboard = "/etc/default/keyboard";
  std::string xorgKeyboard = "/etc/X11/xorg.conf.d/00-keyboard.conf";
};

// What a file looked like when it was last read: a change of any of these reads it again.
struct FileStamp {
  bool exists = false;
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  struct timespec modified = {};

  static FileStamp Of(const std::string& path) {
    FileStamp stamp;
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return stamp;
    stamp.exists = true;
    stamp.device = info.st_dev;
    stamp.inode = info.st_ino;
    stamp.size = info.st_size;
    stamp.modified = info.st_mtim;
    return stamp;
  }
  bool operator==(const FileStamp& other) const {
    return exists == other.exists && device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

struct SystemConfiguration {
  ConfigurationFiles files;
  FileStamp defaultStamp, xorgStamp;
  bool read = false;
  LayoutNames names;
};

std::mutex gMutex;  // guards everything below

SystemConfiguration& System() {
  static SystemConfiguration configuration;
  return configuration;
}

LayoutNames SystemLayoutNames() {
  SystemConfiguration& system = System();
  FileStamp defaultStamp = FileStamp::Of(system.files.defaultKeyboard);
  FileStamp xorgStamp = FileStamp::Of(system.files.xorgKeyboard);
  if (system.read && defaultStamp == system.defaultStamp && xorgStamp == system.xorgStamp) return system.names;

  LayoutNames names;
  std::string text;
  bool found = defaultStamp.exists && zrp::ReadWholeFile(system.files.defaultKeyboard, &text) &&
               ParseDefaultKeyboard(text, &names);
  if (!found) {
    names = LayoutNames();
    found = xorgStamp.exists && zrp::ReadWholeFile(system.files.xorgKeyboard, &text) && ParseXorgKeyboard(text, &names);
  }
  if (!found) {
    names = LayoutNames();
    names.layout = "us";
  }
  system.defaultStamp = defaultStamp;
  system.xorgStamp = xorgStamp;
  system.names = names;
  system.read = true;
  return names;
}

// ---- Compilation into 'uchr' data ----------------------------------------------------------

// The modifier combinations that get a table of their own; Command leaves the table unchanged
// and every combination with Control uses the Control table.
enum Table {
  kPlain,
  kShift,
  kCaps,
  kCapsShift,
  kOption,
  kOptionShift,
  kCapsOption,
  kCapsOptionShift,
  kControl,
  kTableCount
};

int TableOfModifierByte(unsigned byte) {
  bool shift = byte & ((shiftKey | rightShiftKey) >> 8);
  bool caps = byte & (alphaLock >> 8);
  bool option = byte & ((optionKey | rightOptionKey) >> 8);
  bool control = byte & ((controlKey | rightControlKey) >> 8);
  if (control) return kControl;
  return (shift ? 1 : 0) + (caps ? 2 : 0) + (option ? 4 : 0);
}

// XKB's dead keys, the combining mark each puts on the next character, and the character the
// dead key gives on its own.
struct DeadKey {
  xkb_keysym_t keysym;
  UChar32 combining;
  UniChar spacing;
};
const DeadKey kDeadKeys[] = {
    {XKB_KEY_dead_grave, 0x0300, 0x0060},      {XKB_KEY_dead_acute, 0x0301, 0x00B4},
    {XKB_KEY_dead_circumflex, 0x0302, 0x005E}, {XKB_KEY_dead_tilde, 0x0303, 0x007E},
    {XKB_KEY_dead_macron, 0x0304, 0x00AF},     {XKB_KEY_dead_breve, 0x0306, 0x02D8},
    {XKB_KEY_dead_abovedot, 0x0307, 0x02D9},   {XKB_KEY_dead_diaeresis, 0x0308, 0x00A8},
    {XKB_KEY_dead_abovering, 0x030A, 0x02DA},  {XKB_KEY_dead_doubleacute, 0x030B, 0x02DD},
    {XKB_KEY_dead_caron, 0x030C, 0x02C7},      {XKB_KEY_dead_cedilla, 0x0327, 0x00B8},
    {XKB_KEY_dead_ogonek, 0x0328, 0x02DB},     {XKB_KEY_dead_iota, 0x0345, 0x037A},
    {XKB_KEY_dead_belowdot, 0x0323, 0x002E},   {XKB_KEY_dead_hook, 0x0309, 0x02C0},
    {XKB_KEY_dead_horn, 0x031B, 0x031B},       {XKB_KEY_dead_stroke, 0x0335, 0x002F},
};

const DeadKey* FindDeadKey(xkb_keysym_t keysym) {
  for (const DeadKey& dead : kDeadKeys)
    if (dead.keysym == keysym) return &dead;
  return nullptr;
}

struct KeyOutput {
  std::u16string characters;  // empty: nothing
  int deadState = 0;          // a dead key: its state (1 ...)
};

// Writes the sections of a 'uchr' resource.
class UchrWriter {
 public:
  size_t size() const { return bytes_.size(); }
  void align() {
    while (bytes_.size() % 4) bytes_.push_back(0);
  }
  size_t put16(UInt16 value) {
    size_t at = bytes_.size();
    bytes_.resize(at + 2);
    memcpy(&bytes_[at], &value, 2);
    return at;
  }
  size_t put32(UInt32 value) {
    size_t at = bytes_.size();
    bytes_.resize(at + 4);
    memcpy(&bytes_[at], &value, 4);
    return at;
  }
  void put8(UInt8 value) { bytes_.push_back(value); }
  void patch16(size_t at, UInt16 value) { memcpy(&bytes_[at], &value, 2); }
  void patch32(size_t at, UInt32 value) { memcpy(&bytes_[at], &value, 4); }
  std::vector<UInt32> words() const {
    std::vector<UInt32> words((bytes_.size() + 3) / 4);
    memcpy(words.data(), bytes_.data(), bytes_.size());
    return words;
  }

 private:
  std::vector<UInt8> bytes_;
};

// Builds 'uchr' data from the outputs of every key in every table.
class UchrBuilder {
 public:
  UchrBuilder(const std::vector<std::vector<KeyOutput>>& outputs, const std::vector<const DeadKey*>& deadKeys)
      : outputs_(outputs), deadKeys_(deadKeys) {}

  std::vector<UInt32> build() {
    planStateRecords();
    UchrWriter out;
    // Header with one keyboard type that covers every type.
    out.put16(kUCKeyLayoutHeaderFormat);
    out.put16(0x0100);
    out.put32(0);  // no feature information
    out.put32(1);
    out.put32(0);
    out.put32(0xFFFFFFFF);
    size_t modifiersOffsetAt = out.put32(0);
    size_t tablesOffsetAt = out.put32(0);
    size_t recordsOffsetAt = out.put32(0);
    size_t terminatorsOffsetAt = out.put32(0);
    size_t sequencesOffsetAt = out.put32(0);

    out.align();
    out.patch32(modifiersOffsetAt, static_cast<UInt32>(out.size()));
    out.put16(kUCKeyModifiersToTableNumFormat);
    out.put16(kPlain);
    out.put32(256);
    for (unsigned byte = 0; byte < 256; ++byte) out.put8(static_cast<UInt8>(TableOfModifierByte(byte)));

    // Key outputs are encoded first, so that the sequences they need are known.
    std::vector<std::vector<UCKeyOutput>> encoded(kTableCount, std::vector<UCKeyOutput>(128, 0xFFFF));
    for (int table = 0; table < kTableCount; ++table)
      for (int key = 0; key < 128; ++key) encoded[table][key] = encodeKey(outputs_[table][key]);

    out.align();
    out.patch32(tablesOffsetAt, static_cast<UInt32>(out.size()));
    out.put16(kUCKeyToCharTableIndexFormat);
    out.put16(128);
    out.put32(kTableCount);
    std::vector<size_t> tableOffsetAt;
    for (int table = 0; table < kTableCount; ++table) tableOffsetAt.push_back(out.put32(0));
    for (int table = 0; table < kTableCount; ++table) {
      out.align();
      out.patch32(tableOffsetAt[table], static_cast<UInt32>(out.size()));
      for (UCKeyOutput output : encoded[table]) out.put16(output);
    }

    // State records: the dead keys' first, then those of the characters they complete.
    std::vector<std::pair<UCKeyCharSeq, std::vector<std::pair<UInt16, UCKeyCharSeq>>>> encodedRecords;
    for (const Record& record : records_) {
      std::vector<std::pair<UInt16, UCKeyCharSeq>> entries;
      for (const auto& [state, characters] : record.entries) entries.emplace_back(state, encodeCharacters(characters));
      encodedRecords.emplace_back(record.deadState ? 0xFFFF : encodeCharacters(record.characters), entries);
    }
    if (!records_.empty()) {
      out.align();
      out.patch32(recordsOffsetAt, static_cast<UInt32>(out.size()));
      out.put16(kUCKeyStateRecordsIndexFormat);
      out.put16(static_cast<UInt16>(records_.size()));
      std::vector<size_t> recordOffsetAt;
      for (size_t i = 0; i < records_.size(); ++i) recordOffsetAt.push_back(out.put32(0));
      for (size_t i = 0; i < records_.size(); ++i) {
        out.align();
        out.patch32(recordOffsetAt[i], static_cast<UInt32>(out.size()));
        out.put16(encodedRecords[i].first);
        out.put16(static_cast<UInt16>(records_[i].deadState));
        out.put16(static_cast<UInt16>(encodedRecords[i].second.size()));
        out.put16(kUCKeyStateEntryTerminalFormat);
        for (const auto& [state, characters] : encodedRecords[i].second) {
          out.put16(state);
          out.put16(characters);
        }
      }
    }

    if (!deadKeys_.empty()) {
      std::vector<UCKeyCharSeq> terminators;
      for (const DeadKey* dead : deadKeys_) terminators.push_back(encodeCharacters(std::u16string(1, dead->spacing)));
      out.align();
      out.patch32(terminatorsOffsetAt, static_cast<UInt32>(out.size()));
      out.put16(kUCKeyStateTerminatorsFormat);
      out.put16(static_cast<UInt16>(terminators.size()));
      for (UCKeyCharSeq terminator : terminators) out.put16(terminator);
    }

    if (!sequences_.empty()) {
      out.align();
      size_t start = out.size();
      out.patch32(sequencesOffsetAt, static_cast<UInt32>(start));
      out.put16(kUCKeySequenceDataIndexFormat);
      out.put16(static_cast<UInt16>(sequences_.size()));
      size_t offset = 4 + 2 * (sequences_.size() + 1);
      for (const std::u16string& sequence : sequences_) {
        out.put16(static_cast<UInt16>(offset));
        offset += 2 * sequence.size();
      }
      out.put16(static_cast<UInt16>(offset));
      for (const std::u16string& sequence : sequences_)
        for (char16_t unit : sequence) out.put16(unit);
    }
    return out.words();
  }

 private:
  struct Record {
    int deadState = 0;          // a dead key's record: the state it enters
    std::u16string characters;  // a character's record: the character
    std::map<UInt16, std::u16string> entries;
  };

  void planStateRecords() {
    const UNormalizer2* nfc = nullptr;
    UErrorCode error = U_ZERO_ERROR;
    nfc = unorm2_getNFCInstance(&error);
    for (size_t i = 0; i < deadKeys_.size(); ++i) {
      Record record;
      record.deadState = static_cast<int>(i + 1);
      // The dead key twice gives its own character.
      record.entries[static_cast<UInt16>(i + 1)] = std::u16string(1, deadKeys_[i]->spacing);
      deadRecords_.push_back(records_.size());
      records_.push_back(record);
    }
    if (deadKeys_.empty()) return;
    for (const auto& table : outputs_) {
      for (const KeyOutput& output : table) {
        if (output.deadState || output.characters.size() != 1) continue;
        UniChar character = output.characters[0];
        if (characterRecords_.count(character)) continue;
        Record record;
        record.characters = output.characters;
        for (size_t i = 0; i < deadKeys_.size(); ++i) {
          UChar32 composed = -1;
          if (character == ' ') {
            composed = deadKeys_[i]->spacing;
          } else if (nfc && U_SUCCESS(error)) {
            composed = unorm2_composePair(nfc, character, deadKeys_[i]->combining);
          }
          if (composed > 0) {
            std::u16string text;
            zrp::AppendCodePoint(static_cast<char32_t>(composed), &text);
            record.entries[static_cast<UInt16>(i + 1)] = text;
          }
        }
        if (record.entries.empty()) continue;
        characterRecords_[character] = records_.size();
        records_.push_back(record);
      }
    }
  }

  UCKeyCharSeq encodeCharacters(const std::u16string& characters) {
    if (characters.empty()) return 0xFFFF;
    if (characters.size() == 1) {
      UniChar unit = characters[0];
      UInt16 marker = unit & kUCKeyOutputTestForIndexMask;
      if (unit < 0xFFFE && (marker == 0 || marker == kUCKeyOutputTestForIndexMask)) return unit;
    }
    for (size_t i = 0; i < sequences_.size(); ++i)
      if (sequences_[i] == characters) return static_cast<UCKeyCharSeq>(kUCKeyOutputSequenceIndexMask | i);
    sequences_.push_back(characters);
    return static_cast<UCKeyCharSeq>(kUCKeyOutputSequenceIndexMask | (sequences_.size() - 1));
  }

  UCKeyOutput encodeKey(const KeyOutput& output) {
    if (output.deadState)
      return static_cast<UCKeyOutput>(kUCKeyOutputStateIndexMask | deadRecords_[output.deadState - 1]);
    if (output.characters.size() == 1) {
      auto found = characterRecords_.find(output.characters[0]);
      if (found != characterRecords_.end()) return static_cast<UCKeyOutput>(kUCKeyOutputStateIndexMask | found->second);
    }
    return encodeCharacters(output.characters);
  }

  const std::vector<std::vector<KeyOutput>>& outputs_;
  const std::vector<const DeadKey*>& deadKeys_;
  std::vector<Record> records_;
  std::vector<size_t> deadRecords_;
  std::map<UniChar, size_t> characterRecords_;
  std::vector<std::u16string> sequences_;
};

void Silent(struct xkb_context*, enum xkb_log_level, const char*, va_list) {}

// The keys held for a table's modifiers (xkb key codes are evdev codes plus 8).
void Press(struct xkb_state* state, int evdev) { xkb_state_update_key(state, evdev + 8, XKB_KEY_DOWN); }
void Toggle(struct xkb_state* state, int evdev) {
  xkb_state_update_key(state, evdev + 8, XKB_KEY_DOWN);
  xkb_state_update_key(state, evdev + 8, XKB_KEY_UP);
}

// Compiles the XKB layout and records what each key gives in each table. False when xkbcommon
// cannot compile the names.
bool CompileLayout(const LayoutNames& names, OpaqueKeyboardLayoutRef* layout) {
  std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES),
                                                                     &xkb_context_unref);
  if (!context) return false;
  xkb_context_set_log_fn(context.get(), Silent);
  auto part = [](const std::string& text) { return text.empty() ? nullptr : text.c_str(); };
  struct xkb_rule_names rmlvo = {part(names.rules), part(names.model), part(names.layout), part(names.variant),
                                 part(names.options)};
  std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap(
      xkb_keymap_new_from_names(context.get(), &rmlvo, XKB_KEYMAP_COMPILE_NO_FLAGS), &xkb_keymap_unref);
  if (!keymap) return false;

  int keyCount = 0;
  const KeyCodeEntry* keys = KeyCodeTable(&keyCount);
  std::vector<std::vector<KeyOutput>> outputs(kTableCount, std::vector<KeyOutput>(128));
  std::vector<const DeadKey*> deadKeys;
  for (int table = 0; table < kTableCount; ++table) {
    std::unique_ptr<xkb_state, decltype(&xkb_state_unref)> state(xkb_state_new(keymap.get()), &xkb_state_unref);
    if (!state) return false;
    // The keypad gives digits, as the platform's keypads always do.
    Toggle(state.get(), KEY_NUMLOCK);
    if (table == kShift || table == kCapsShift || table == kOptionShift || table == kCapsOptionShift)
      Press(state.get(), KEY_LEFTSHIFT);
    if (table == kCaps || table == kCapsShift || table == kCapsOption || table == kCapsOptionShift)
      Toggle(state.get(), KEY_CAPSLOCK);
    if (table >= kOption && table <= kCapsOptionShift) Press(state.get(), KEY_RIGHTALT);
    if (table == kControl) Press(state.get(), KEY_LEFTCTRL);

    for (int i = 0; i < keyCount; ++i) {
      KeyOutput& output = outputs[table][keys[i].virtualKey];
      if (keys[i].fixedCharacter != 0xFFFF) {
        output.characters = std::u16string(1, static_cast<char16_t>(keys[i].fixedCharacter));
        continue;
      }
      xkb_keycode_t keycode = keys[i].evdev + 8;
      xkb_keysym_t keysym = xkb_state_key_get_one_sym(state.get(), keycode);
      if (const DeadKey* dead = FindDeadKey(keysym)) {
        size_t index = 0;
        while (index < deadKeys.size() && deadKeys[index] != dead) ++index;
        if (index == deadKeys.size()) deadKeys.push_back(dead);
        output.deadState = static_cast<int>(index + 1);
        continue;
      }
      uint32_t codePoint = xkb_state_key_get_utf32(state.get(), keycode);
      if (codePoint != 0) zrp::AppendCodePoint(codePoint, &output.characters);
    }
  }

  UchrBuilder builder(outputs, deadKeys);
  layout->uchr = builder.build();
  layout->hasUchr = true;
  layout->kind = kKLuchrKind;
  layout->model = names.model.empty() ? "pc105" : names.model;
  layout->name = names.layout.empty() ? "us" : names.layout;
  if (!names.variant.empty()) layout->name += "(" + names.variant + ")";
  return true;
}

// ---- The registry of layouts ---------------------------------------------------------------

struct CompiledLayout {
  LayoutNames names;
  OpaqueKeyboardLayoutRef* layout;  // nullptr: the names could not be compiled
};

struct Registry {
  std::vector<CompiledLayout> compiled;
  std::vector<std::unique_ptr<OpaqueKeyboardLayoutRef>> layouts;  // every layout ever made
  OpaqueKeyboardLayoutRef* presented = nullptr;
  SInt32 nextIdentifier = 16384;
  KeyboardLayoutPropertyTag failingTag = 0;
  OSStatus failingStatus = noErr;
};

Registry& TheRegistry() {
  static Registry registry;
  return registry;
}

void Finish(OpaqueKeyboardLayoutRef* layout) {
  layout->nameString = zrp::InternedString(layout->name);
  if (layout->hasKCHR) layout->kchrMaster = reinterpret_cast<Ptr>(layout->kchr.data());
  if (layout->hasUchr) layout->uchrMaster = reinterpret_cast<Ptr>(layout->uchr.data());
}

// The current layout, compiled on first use; nullptr when it cannot be compiled. Needs gMutex.
OpaqueKeyboardLayoutRef* CurrentLayoutLocked() {
  Registry& registry = TheRegistry();
  if (registry.presented) return registry.presented;
  LayoutNames names = CurrentLayoutNames();
  for (const CompiledLayout& compiled : registry.compiled)
    if (compiled.names == names) return compiled.layout;
  auto layout = std::make_unique<OpaqueKeyboardLayoutRef>();
  OpaqueKeyboardLayoutRef* result = nullptr;
  if (CompileLayout(names, layout.get())) {
    layout->identifier = registry.nextIdentifier++;
    Finish(layout.get());
    result = layout.get();
    registry.layouts.push_back(std::move(layout));
  }
  registry.compiled.push_back({names, result});
  return result;
}

thread_local OSErr tResError = noErr;

constexpr ResType FourCharacters(const char (&code)[5]) {
  return (static_cast<ResType>(static_cast<UInt8>(code[0])) << 24) |
         (static_cast<ResType>(static_cast<UInt8>(code[1])) << 16) |
         (static_cast<ResType>(static_cast<UInt8>(code[2])) << 8) | static_cast<ResType>(static_cast<UInt8>(code[3]));
}
constexpr ResType kUchrType = FourCharacters("uchr");
constexpr ResType kKCHRType = FourCharacters("KCHR");

// Integer properties are written as 32-bit values where the pointer would go, as callers pass
// the address of a 32-bit variable in the pointer's place.
void StoreInteger(const void** oValue, UInt32 value) { memcpy(static_cast<void*>(oValue), &value, sizeof(value)); }

}  // namespace

LayoutNames CurrentLayoutNames() {
  static const char* const kVariables[] = {"XKB_DEFAULT_RULES", "XKB_DEFAULT_MODEL", "XKB_DEFAULT_LAYOUT",
                                           "XKB_DEFAULT_VARIANT", "XKB_DEFAULT_OPTIONS"};
  const char* values[5];
  bool any = false;
  for (int i = 0; i < 5; ++i) {
    values[i] = getenv(kVariables[i]);
    if (values[i] && *values[i]) any = true;
  }
  if (any) {
    auto value = [](const char* text) { return std::string(text ? text : ""); };
    return {value(values[0]), value(values[1]), value(values[2]), value(values[3]), value(values[4])};
  }
  return SystemLayoutNames();
}

bool ParseDefaultKeyboard(const std::string& text, LayoutNames* names) {
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line[start] == '#') continue;
    if (line.compare(start, 7, "export ") == 0) start = line.find_first_not_of(" \t", start + 7);
    size_t equals = line.find('=', start);
    if (equals == std::string::npos) continue;
    std::string key = line.substr(start, equals - start);
    std::string value = Unquote(line.substr(equals + 1));
    if (key == "XKBMODEL") names->model = value;
    if (key == "XKBLAYOUT") names->layout = value;
    if (key == "XKBVARIANT") names->variant = value;
    if (key == "XKBOPTIONS") names->options = value;
  }
  return !names->layout.empty();
}

bool ParseXorgKeyboard(const std::string& text, LayoutNames* names) {
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line[start] == '#') continue;
    if (strncasecmp(line.c_str() + start, "Option", 6) != 0) continue;
    // Option "XkbLayout" "de": two quoted words.
    std::vector<std::string> words;
    size_t at = start + 6;
    while (words.size() < 2) {
      size_t open = line.find('"', at);
      if (open == std::string::npos) break;
      size_t close = line.find('"', open + 1);
      if (close == std::string::npos) break;
      words.push_back(line.substr(open + 1, close - open - 1));
      at = close + 1;
    }
    if (words.size() != 2) continue;
    const char* key = words[0].c_str();
    if (strcasecmp(key, "XkbRules") == 0) names->rules = words[1];
    if (strcasecmp(key, "XkbModel") == 0) names->model = words[1];
    if (strcasecmp(key, "XkbLayout") == 0) names->layout = words[1];
    if (strcasecmp(key, "XkbVariant") == 0) names->variant = words[1];
    if (strcasecmp(key, "XkbOptions") == 0) names->options = words[1];
  }
  return !names->layout.empty();
}

}  // namespace zrp::keyboard

using namespace zrp::keyboard;

extern "C" {

// Finding the current layout may compile it, in containers that can fail to allocate: such a
// failure is memFullErr (or no layout), never an exception through the C callers.
OSStatus KLGetCurrentKeyboardLayout(KeyboardLayoutRef* oKeyboardLayout) {
  if (!oKeyboardLayout) return paramErr;
  return zrp::CatchOutOfMemory<OSStatus>(memFullErr, [&]() -> OSStatus {
    std::lock_guard<std::mutex> lock(gMutex);
    OpaqueKeyboardLayoutRef* layout = CurrentLayoutLocked();
    if (!layout) return resNotFound;
    *oKeyboardLayout = layout;
    return noErr;
  });
}

OSStatus KLGetKeyboardLayoutProperty(KeyboardLayoutRef iKeyboardLayout, KeyboardLayoutPropertyTag iPropertyTag,
                                     const void** oValue) {
  if (!iKeyboardLayout || !oValue) return paramErr;
  {
    std::lock_guard<std::mutex> lock(gMutex);
    const Registry& registry = TheRegistry();
    if (registry.failingStatus != noErr && registry.failingTag == iPropertyTag) return registry.failingStatus;
  }
  const OpaqueKeyboardLayoutRef* layout = iKeyboardLayout;
  switch (iPropertyTag) {
    case kKLKCHRData:
      if (!layout->hasKCHR) return resNotFound;
      *oValue = layout->kchr.data();
      return noErr;
    case kKLuchrData:
      if (!layout->hasUchr) return resNotFound;
      *oValue = layout->uchr.data();
      return noErr;
    case kKLIdentifier:
      StoreInteger(oValue, static_cast<UInt32>(layout->identifier));
      return noErr;
    case kKLName:
    case kKLLocalizedName:
      *oValue = layout->nameString;
      return noErr;
    case kKLGroupIdentifier:
      StoreInteger(oValue, static_cast<UInt32>(smRoman));
      return noErr;
    case kKLKind:
      StoreInteger(oValue, layout->kind);
      return noErr;
    default:
      return paramErr;
  }
}

long GetScriptManagerVariable(short selector) {
  if (selector == smKeyScript || selector == smSysScript) return smRoman;
  return 0;
}

long GetScriptVariable(short script, short selector) {
  if (script != smRoman || selector != smScriptKeys) return 0;
  return zrp::CatchOutOfMemory<long>(0, [&]() -> long {
    std::lock_guard<std::mutex> lock(gMutex);
    OpaqueKeyboardLayoutRef* layout = CurrentLayoutLocked();
    return layout ? layout->identifier : 0;
  });
}

// The resource of that type and number among the layouts: the current one first, then every
// other from the newest. Sets ResError's status.
static Handle FindResource(ResType theType, ResID theID) {
  std::lock_guard<std::mutex> lock(gMutex);
  Registry& registry = TheRegistry();
  // The current layout first, then every other layout from the newest.
  std::vector<OpaqueKeyboardLayoutRef*> candidates;
  if (OpaqueKeyboardLayoutRef* current = CurrentLayoutLocked()) candidates.push_back(current);
  for (auto it = registry.layouts.rbegin(); it != registry.layouts.rend(); ++it) candidates.push_back(it->get());
  for (OpaqueKeyboardLayoutRef* layout : candidates) {
    if (layout->identifier != theID) continue;
    if (theType == kUchrType && layout->hasUchr) {
      tResError = noErr;
      return &layout->uchrMaster;
    }
    if (theType == kKCHRType && layout->hasKCHR) {
      tResError = noErr;
      return &layout->kchrMaster;
    }
  }
  tResError = resNotFound;
  return nullptr;
}

Handle GetResource(ResType theType, ResID theID) {
  tResError = memFullErr;
  return zrp::CatchOutOfMemory<Handle>(nullptr, [&]() -> Handle { return FindResource(theType, theID); });
}

OSErr ResError(void) { return tResError; }

UInt8 LMGetKbdType(void) {
  // A model that cannot be read (no memory to compile the layout) is the common pc105.
  std::string model = zrp::CatchOutOfMemory<std::string>(std::string(), [&]() -> std::string {
    std::lock_guard<std::mutex> lock(gMutex);
    OpaqueKeyboardLayoutRef* layout = CurrentLayoutLocked();
    return layout ? layout->model : std::string();
  });
  if (model.empty()) model = "pc105";
  if (model.rfind("jp", 0) == 0) return 42;
  if (model == "pc101" || model == "pc104" || model == "pc104alt" || model == "pc86") return 40;
  return 41;
}

void ZRTestingPresentKeyboardLayout(SInt32 kind, SInt32 identifier, const char* name, const void* kchrData,
                                    size_t kchrLength, const void* uchrData, size_t uchrLength) {
  std::lock_guard<std::mutex> lock(gMutex);
  Registry& registry = TheRegistry();
  if (kind < 0) {
    registry.presented = nullptr;
    return;
  }
  auto layout = std::make_unique<OpaqueKeyboardLayoutRef>();
  layout->identifier = identifier;
  layout->kind = static_cast<KeyboardLayoutKind>(kind);
  layout->name = name ? name : "";
  layout->model = "pc105";
  if (kchrData) {
    layout->hasKCHR = true;
    layout->kchr.resize((kchrLength + 3) / 4 + 1);
    memcpy(layout->kchr.data(), kchrData, kchrLength);
  }
  if (uchrData) {
    layout->hasUchr = true;
    layout->uchr.resize((uchrLength + 3) / 4 + 1);
    memcpy(layout->uchr.data(), uchrData, uchrLength);
  }
  Finish(layout.get());
  registry.presented = layout.get();
  registry.layouts.push_back(std::move(layout));
}

void ZRTestingSetKeyboardConfigurationFiles(const char* defaultKeyboard, const char* xorgKeyboard) {
  std::lock_guard<std::mutex> lock(gMutex);
  SystemConfiguration& system = System();
  ConfigurationFiles real;
  system.files.defaultKeyboard = defaultKeyboard ? defaultKeyboard : real.defaultKeyboard;
  system.files.xorgKeyboard = xorgKeyboard ? xorgKeyboard : real.xorgKeyboard;
  system.read = false;
}

void ZRTestingFailKeyboardLayoutProperty(UInt32 tag, OSStatus status) {
  std::lock_guard<std::mutex> lock(gMutex);
  TheRegistry().failingTag = tag;
  TheRegistry().failingStatus = status;
}

}  // extern "C"
