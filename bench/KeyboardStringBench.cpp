// KeyboardStringBench.cpp: printing a hot key (key code and modifiers) and finding a key code's
// character on the current layout (goal: at most 5 µs a call), beside the cost of compiling the
// XKB keymap once, which the host pays once per layout and never per call. The layout is looked
// up afresh on every call, so switching layouts between calls is measured too.
#include <ZRFramework/ZRFramework.h>
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <xkbcommon/xkbcommon.h>

namespace {

constexpr UInt32 kShiftCommand = 0x00020000 | 0x00100000;

void UseLayout(const char* layout) {
  setenv("XKB_DEFAULT_LAYOUT", layout, 1);
  UniChar warm = 0;
  ZRGetCharacterOfKeyCode(0, &warm, false);  // the first call compiles the layout
}

void BM_HotKey(benchmark::State& state) {
  UseLayout("de");
  for (auto _ : state) {
    CFStringRef string = NULL;
    ZRCopyPrintableStringRefOfHotKey(6, kShiftCommand, &string, false);
    benchmark::DoNotOptimize(string);
    CFRelease(string);
  }
}
BENCHMARK(BM_HotKey);

void BM_CharacterOfKeyCode(benchmark::State& state) {
  UseLayout("de");
  for (auto _ : state) {
    UniChar character = 0;
    ZRGetCharacterOfKeyCode(6, &character, false);
    benchmark::DoNotOptimize(character);
  }
}
BENCHMARK(BM_CharacterOfKeyCode);

// Every call finds a different layout current: each is compiled once, then only looked up.
void BM_HotKeyAlternatingLayouts(benchmark::State& state) {
  UseLayout("fr");
  UseLayout("de");
  bool german = true;
  for (auto _ : state) {
    setenv("XKB_DEFAULT_LAYOUT", german ? "de" : "fr", 1);
    german = !german;
    CFStringRef string = NULL;
    ZRCopyPrintableStringRefOfHotKey(6, kShiftCommand, &string, false);
    benchmark::DoNotOptimize(string);
    CFRelease(string);
  }
}
BENCHMARK(BM_HotKeyAlternatingLayouts);

// What one compilation of the keymap costs in xkbcommon itself (the host does this and more,
// once per layout).
void BM_CompileKeymapOnce(benchmark::State& state) {
  struct xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
  struct xkb_rule_names names = {NULL, NULL, "de", NULL, NULL};
  for (auto _ : state) {
    struct xkb_keymap* keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    benchmark::DoNotOptimize(keymap);
    xkb_keymap_unref(keymap);
  }
  xkb_context_unref(context);
}
BENCHMARK(BM_CompileKeymapOnce)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  // The system's keyboard configuration is never read: the layouts are named here.
  setenv("XKB_DEFAULT_LAYOUT", "de", 1);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
