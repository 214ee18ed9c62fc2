// CFStringSearch.cpp: finding text in a string under the comparison options (anchored,
// backwards, folded), and find-and-replace.
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CFString/CompareImpl.h"
#include "CFString/StringImpl.h"
#include "runtime/NoThrow.h"

namespace {

using namespace zrp::compare;

// Finds a text in a range of another under the search options; positions are relative to the
// range. Built once, it serves every search in the range (find-and-replace makes many).
class Searcher {
 public:
  Searcher(std::u16string_view text, std::u16string_view needle, CFStringCompareFlags options)
      : text_(text), needle_(needle), folding_(options & kFoldingOptions) {
    if (folding_) {
      Fold(text_, folding_, &foldedText_, &offsets_);
      Fold(needle_, folding_, &foldedNeedle_, nullptr);
    }
  }

  // The first match that starts at or after from and ends at or before to.
  bool findForward(size_t from, size_t to, bool anchored, size_t* start, size_t* end) const {
    if (empty()) return false;
    if (!folding_ && !anchored) {
      size_t found = text_.substr(0, to).find(needle_, from);
      if (found == std::u16string_view::npos) return false;
      *start = found;
      *end = found + needle_.size();
      return true;
    }
    for (size_t i = from; i < to; ++i) {
      if (matchAt(i, to, start, end)) return true;
      if (anchored) return false;
    }
    return false;
  }

  // The last match that lies within [from, to); anchored, it must end at to.
  bool findBackward(size_t from, size_t to, bool anchored, size_t* start, size_t* end) const {
    if (empty()) return false;
    for (size_t i = to; i > from;) {
      --i;
      if (matchAt(i, to, start, end) && (!anchored || *end == to)) return true;
    }
    return false;
  }

 private:
  // Nothing is found of an empty text, nor of one that the options reduce to nothing (a lone
  // combining mark when diacritics are ignored).
  bool empty() const { return needle_.empty() || (folding_ && foldedNeedle_.empty()); }

  bool matchAt(size_t i, size_t limit, size_t* start, size_t* end) const {
    if (!folding_) {
      if (limit - i < needle_.size() || text_.compare(i, needle_.size(), needle_) != 0) return false;
      *start = i;
      *end = i + needle_.size();
      return true;
    }
    uint32_t at = offsets_[i];
    if (at == UINT32_MAX) return false;  // inside a surrogate pair
    // A character that folds to nothing (a dropped mark) does not begin a match.
    size_t next = i + 1;
    while (next < offsets_.size() && offsets_[next] == UINT32_MAX) ++next;
    if (offsets_[next] == at) return false;
    if (foldedText_.size() - at < foldedNeedle_.size() ||
        foldedText_.compare(at, foldedNeedle_.size(), foldedNeedle_) != 0)
      return false;
    // The match must end where a character's folded form ends; characters that fold to
    // nothing right after it (combining marks) belong to it.
    uint32_t stop = at + static_cast<uint32_t>(foldedNeedle_.size());
    size_t found = SIZE_MAX;
    for (size_t j = next; j <= limit; ++j) {
      if (offsets_[j] == UINT32_MAX) continue;
      if (offsets_[j] > stop) break;
      if (offsets_[j] == stop) found = j;
    }
    if (found == SIZE_MAX) return false;
    *start = i;
    *end = found;
    return true;
  }

  std::u16string_view text_;
  std::u16string_view needle_;
  CFStringCompareFlags folding_;
  std::u16string foldedText_;
  std::u16string foldedNeedle_;
  std::vector<uint32_t> offsets_;
};

}  // namespace

extern "C" {

Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind, CFRange rangeToSearch,
                                CFStringCompareFlags searchOptions, CFRange* result) {
  return zrp::CatchOutOfMemory<Boolean>(false, [&]() -> Boolean {
    if (!theString || !stringToFind) zrp::HaltWith("CFStringFindWithOptions", "NULL string");
    zrp::CheckRange("CFStringFindWithOptions", theString, rangeToSearch);
    // The search works on UTF-16; the needle is a copy, as it may be the string searched.
    std::u16string needle = zrp::Chars(stringToFind);
    zrp::WideView text(theString);
    Searcher searcher(Slice(text, rangeToSearch), needle, searchOptions);
    size_t length = static_cast<size_t>(rangeToSearch.length);
    bool anchored = searchOptions & kCFCompareAnchored;
    size_t start = 0;
    size_t end = 0;
    bool found = (searchOptions & kCFCompareBackwards) ? searcher.findBackward(0, length, anchored, &start, &end)
                                                       : searcher.findForward(0, length, anchored, &start, &end);
    if (found && result)
      *result = CFRangeMake(rangeToSearch.location + static_cast<CFIndex>(start), static_cast<CFIndex>(end - start));
    return found;
  });
}

CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind, CFStringCompareFlags compareOptions) {
  CFRange result;
  if (!theString) zrp::HaltWith("CFStringFind", "NULL string");
  if (CFStringFindWithOptions(theString, stringToFind, CFRangeMake(0, static_cast<CFIndex>(theString->text.size())),
                              compareOptions, &result))
    return result;
  return CFRangeMake(kCFNotFound, 0);
}

CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind, CFStringRef replacementString,
                               CFRange rangeToSearch, CFStringCompareFlags compareOptions) {
  return zrp::CatchOutOfMemory<CFIndex>(0, [&]() -> CFIndex {
    if (!zrp::CheckMutable(theString, "CFStringFindAndReplace")) return 0;
    if (!theString || !stringToFind || !replacementString) zrp::HaltWith("CFStringFindAndReplace", "NULL string");
    zrp::CheckRange("CFStringFindAndReplace", theString, rangeToSearch);
    // Copies: either argument may be the very string being changed.
    std::u16string needle = zrp::Chars(stringToFind);
    std::u16string replacement = zrp::Chars(replacementString);
    std::u16string original = zrp::Chars(theString);
    std::u16string_view range = std::u16string_view(original).substr(static_cast<size_t>(rangeToSearch.location),
                                                                     static_cast<size_t>(rangeToSearch.length));
    Searcher searcher(range, needle, compareOptions);
    bool anchored = compareOptions & kCFCompareAnchored;
    // Every occurrence in the range, none overlapping, found from the end when searching
    // backwards; an anchored search replaces the one at the range's start (or end).
    std::vector<std::pair<size_t, size_t>> matches;
    size_t start = 0;
    size_t end = 0;
    if (compareOptions & kCFCompareBackwards) {
      size_t to = range.size();
      while (searcher.findBackward(0, to, anchored, &start, &end)) {
        matches.emplace_back(start, end);
        if (anchored || start == 0) break;
        to = start;
      }
      std::reverse(matches.begin(), matches.end());
    } else {
      size_t from = 0;
      while (from < range.size() && searcher.findForward(from, range.size(), anchored, &start, &end)) {
        matches.emplace_back(start, end);
        if (anchored) break;
        from = end > start ? end : start + 1;
      }
    }
    if (matches.empty()) return 0;
    std::u16string result(original, 0, static_cast<size_t>(rangeToSearch.location));
    size_t copied = 0;
    for (const auto& [matchStart, matchEnd] : matches) {
      result.append(range.substr(copied, matchStart - copied));
      result.append(replacement);
      copied = matchEnd;
    }
    result.append(range.substr(copied));
    result.append(
        std::u16string_view(original).substr(static_cast<size_t>(rangeToSearch.location + rangeToSearch.length)));
    theString->text.assign(result);
    return static_cast<CFIndex>(matches.size());
  });
}

}  // extern "C"
