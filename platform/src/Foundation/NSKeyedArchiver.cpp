// NSKeyedArchiver.cpp: keyed archives of property-list objects, written and read in the
// platform's published format.
//
// An archive is a binary property list:
//   { "$archiver" = "NSKeyedArchiver"; "$version" = 100000; "$top" = { root = UID(1); };
//     "$objects" = ( "$null", ... ); }
// "$objects" holds every archived object once, referred to by its index as a UID (written in
// the XML form as { "CF$UID" = n; }); index 0 is "$null", the nil object. Immutable strings,
// numbers, Booleans and immutable data stand in "$objects" as themselves; every other object is
// a dictionary of its keyed values and "$class", the UID of a class description
// { "$classname" = "NSMutableArray"; "$classes" = ( NSMutableArray, NSArray, NSObject ); }:
// arrays keep their elements' UIDs under "NS.objects", dictionaries their keys' under "NS.keys"
// and their values' under "NS.objects", mutable strings their text under "NS.string", mutable
// data its bytes under "NS.data", dates their seconds since 2001 under "NS.time".
//
// Objects are numbered in the order the platform's archiver meets them: an object before the
// objects it holds, its class description after them. An object met twice is archived once.
#include <Foundation/NSKeyedArchiver.h>
#include <Foundation/NSObject.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "CFPropertyList/PropertyListImpl.h"
#include "CFString/StringImpl.h"

namespace zrp {
namespace {

constexpr int64_t kArchiveVersion = 100000;

// {"CF$UID": index}, the form a UID takes among the host's property-list objects.
CFTypeRef MakeUID(int64_t index) {
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt64Type, &index);
  if (!number) return nullptr;
  const void* keys[] = {CFSTR("CF$UID")};
  const void* values[] = {number};
  CFDictionaryRef uid =
      CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFRelease(number);
  return uid;
}

// The index a UID refers to, or -1 when value is no UID.
int64_t UIDIndex(CFTypeRef value) {
  if (!value || CFGetTypeID(value) != CFDictionaryGetTypeID()) return -1;
  auto dictionary = static_cast<CFDictionaryRef>(value);
  if (CFDictionaryGetCount(dictionary) != 1) return -1;
  CFTypeRef number = CFDictionaryGetValue(dictionary, CFSTR("CF$UID"));
  if (!number || CFGetTypeID(number) != CFNumberGetTypeID()) return -1;
  int64_t index = -1;
  if (!CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &index)) return -1;
  return index;
}

CFMutableDictionaryRef NewDictionary() {
  return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

// CFArrayAppendValue and CFDictionarySetValue leave the collection as it was when they cannot get
// memory; an archive missing an entry would decode as something else, so each one is checked.
bool Append(CFMutableArrayRef array, CFTypeRef value) {
  CFIndex count = CFArrayGetCount(array);
  CFArrayAppendValue(array, value);
  return CFArrayGetCount(array) == count + 1;
}

bool Put(CFMutableDictionaryRef dictionary, CFTypeRef key, CFTypeRef value) {
  CFDictionarySetValue(dictionary, key, value);
  return CFDictionaryGetValue(dictionary, key) == value;
}

// Sets a value made for the purpose, and releases it; false when it could not be made or set.
bool SetNew(CFMutableDictionaryRef dictionary, CFStringRef key, CFTypeRef value) {
  if (!value) return false;
  bool set = Put(dictionary, key, value);
  CFRelease(value);
  return set;
}

bool IsMutableKind(CFTypeRef object, const char* mutableClass) {
  return ns::isKindOfClass(const_cast<void*>(object), objc_getClass(mutableClass));
}

class Archiver {
 public:
  Archiver() : objects_(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks)) {}

  // The archive's property list, or NULL.
  CFTypeRef archive(CFTypeRef root) {
    if (!objects_.get()) return nullptr;
    if (!Append(objects(), CFSTR("$null"))) return nullptr;
    int64_t rootIndex;
    if (!encode(root, 0, &rootIndex)) return nullptr;
    CFHolder top(NewDictionary());
    CFHolder archive(NewDictionary());
    if (!top || !archive) return nullptr;
    auto topDictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(top.get()));
    auto archiveDictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(archive.get()));
    if (!SetNew(topDictionary, CFSTR("root"), MakeUID(rootIndex))) return nullptr;
    int64_t version = kArchiveVersion;
    if (!SetNew(archiveDictionary, CFSTR("$version"), CFNumberCreate(nullptr, kCFNumberSInt64Type, &version)))
      return nullptr;
    if (!Put(archiveDictionary, CFSTR("$archiver"), CFSTR("NSKeyedArchiver")) ||
        !Put(archiveDictionary, CFSTR("$top"), top.get()) || !Put(archiveDictionary, CFSTR("$objects"), objects_.get()))
      return nullptr;
    return archive.release();
  }

 private:
  CFMutableArrayRef objects() const { return static_cast<CFMutableArrayRef>(const_cast<void*>(objects_.get())); }

  // The index of a new entry in "$objects", -1 when there is no memory for it.
  int64_t reserve() {
    int64_t index = CFArrayGetCount(objects());
    // Replaced once the object is encoded.
    return Append(objects(), kCFNull) ? index : -1;
  }

  bool encode(CFTypeRef object, int depth, int64_t* index) {
    if (!object) {
      *index = 0;
      return true;
    }
    auto known = indexes_.find(object);
    if (known != indexes_.end()) {
      *index = known->second;
      // Still being encoded: the object holds itself, which no property list can.
      return *index >= 0 && !inProgress_.count(object);
    }
    if (depth >= kMaxPropertyListDepth) return false;
    CFTypeID type = CFGetTypeID(object);
    bool mutableString = type == CFStringGetTypeID() && IsMutableKind(object, "NSMutableString");
    bool mutableData = type == CFDataGetTypeID() && IsMutableKind(object, "NSMutableData");
    *index = reserve();
    if (*index < 0) return false;
    indexes_[object] = *index;
    if (!mutableString && !mutableData &&
        (type == CFStringGetTypeID() || type == CFNumberGetTypeID() || type == CFBooleanGetTypeID() ||
         type == CFDataGetTypeID())) {
      CFArraySetValueAtIndex(objects(), *index, object);
      return true;
    }
    inProgress_.emplace(object, true);
    CFHolder entry(NewDictionary());
    if (!entry) return false;
    auto dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(entry.get()));
    const char* className;
    if (mutableString) {
      CFHolder copy(CFStringCreateCopy(nullptr, static_cast<CFStringRef>(object)));
      if (!copy) return false;
      if (!Put(dictionary, CFSTR("NS.string"), copy.get())) return false;
      className = "NSMutableString";
    } else if (mutableData) {
      CFHolder copy(CFDataCreateCopy(nullptr, static_cast<CFDataRef>(object)));
      if (!copy) return false;
      if (!Put(dictionary, CFSTR("NS.data"), copy.get())) return false;
      className = "NSMutableData";
    } else if (type == CFDateGetTypeID()) {
      double at = CFDateGetAbsoluteTime(static_cast<CFDateRef>(object));
      if (!SetNew(dictionary, CFSTR("NS.time"), CFNumberCreate(nullptr, kCFNumberFloat64Type, &at))) return false;
      className = "NSDate";
    } else if (type == CFArrayGetTypeID()) {
      auto array = static_cast<CFArrayRef>(object);
      std::vector<CFTypeRef> items(static_cast<size_t>(CFArrayGetCount(array)));
      for (size_t i = 0; i < items.size(); ++i) items[i] = CFArrayGetValueAtIndex(array, static_cast<CFIndex>(i));
      if (!SetNew(dictionary, CFSTR("NS.objects"), references(items, depth))) return false;
      className = IsMutableKind(object, "NSMutableArray") ? "NSMutableArray" : "NSArray";
    } else if (type == CFDictionaryGetTypeID()) {
      auto source = static_cast<CFDictionaryRef>(object);
      auto count = static_cast<size_t>(CFDictionaryGetCount(source));
      std::vector<CFTypeRef> keys(count);
      std::vector<CFTypeRef> values(count);
      CFDictionaryGetKeysAndValues(source, keys.data(), values.data());
      if (!SetNew(dictionary, CFSTR("NS.keys"), references(keys, depth))) return false;
      if (!SetNew(dictionary, CFSTR("NS.objects"), references(values, depth))) return false;
      className = IsMutableKind(object, "NSMutableDictionary") ? "NSMutableDictionary" : "NSDictionary";
    } else if (type == CFNullGetTypeID()) {
      className = "NSNull";
    } else {
      return false;
    }
    int64_t classIndex;
    if (!classDescription(className, &classIndex)) return false;
    if (!SetNew(dictionary, CFSTR("$class"), MakeUID(classIndex))) return false;
    CFArraySetValueAtIndex(objects(), *index, dictionary);
    inProgress_.erase(object);
    return true;
  }

  // A new array of the UIDs of the objects, each encoded; NULL on failure.
  CFTypeRef references(const std::vector<CFTypeRef>& items, int depth) {
    std::vector<CFHolder> uids;
    uids.reserve(items.size());
    for (CFTypeRef item : items) {
      int64_t index;
      if (!encode(item, depth + 1, &index)) return nullptr;
      uids.emplace_back(MakeUID(index));
      if (!uids.back()) return nullptr;
    }
    std::vector<const void*> pointers;
    pointers.reserve(uids.size());
    for (const CFHolder& uid : uids) pointers.push_back(uid.get());
    return CFArrayCreate(nullptr, pointers.data(), static_cast<CFIndex>(pointers.size()), &kCFTypeArrayCallBacks);
  }

  bool classDescription(const char* name, int64_t* index) {
    auto known = classes_.find(name);
    if (known != classes_.end()) {
      *index = known->second;
      return true;
    }
    CFHolder description(NewDictionary());
    CFHolder chain(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFHolder className(CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8));
    if (!description || !chain || !className) return false;
    for (Class cls = objc_getClass(name); cls; cls = class_getSuperclass(cls)) {
      CFHolder link(CFStringCreateWithCString(nullptr, class_getName(cls), kCFStringEncodingUTF8));
      if (!link) return false;
      if (!Append(static_cast<CFMutableArrayRef>(const_cast<void*>(chain.get())), link.get())) return false;
    }
    auto dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(description.get()));
    if (!Put(dictionary, CFSTR("$classname"), className.get()) || !Put(dictionary, CFSTR("$classes"), chain.get()))
      return false;
    *index = CFArrayGetCount(objects());
    if (!Append(objects(), dictionary)) return false;
    classes_[name] = *index;
    return true;
  }

  CFHolder objects_;
  std::unordered_map<CFTypeRef, int64_t> indexes_;
  std::unordered_map<CFTypeRef, bool> inProgress_;
  std::unordered_map<std::string, int64_t> classes_;
};

class Unarchiver {
 public:
  explicit Unarchiver(CFArrayRef objects)
      : objects_(objects),
        count_(CFArrayGetCount(objects)),
        decoded_(static_cast<size_t>(count_)),
        state_(static_cast<size_t>(count_), kUnvisited) {}

  // A new reference to the object at index, or NULL. *isNil tells the archive's nil apart.
  CFTypeRef decode(int64_t index, int depth, bool* isNil) {
    *isNil = false;
    if (index < 0 || index >= count_ || depth > kMaxPropertyListDepth) return nullptr;
    if (index == 0) {
      *isNil = true;
      return nullptr;
    }
    auto slot = static_cast<size_t>(index);
    if (decoded_[slot]) return CFRetain(decoded_[slot].get());
    // Met again while being decoded: an object that holds itself.
    if (state_[slot] == kInProgress) return nullptr;
    state_[slot] = kInProgress;
    CFHolder result(make(CFArrayGetValueAtIndex(objects_, static_cast<CFIndex>(index)), depth));
    state_[slot] = kUnvisited;
    if (!result) return nullptr;
    decoded_[slot] = CFHolder(CFRetain(result.get()));
    return result.release();
  }

 private:
  enum : uint8_t { kUnvisited, kInProgress };

  CFTypeRef make(CFTypeRef entry, int depth) {
    CFTypeID type = CFGetTypeID(entry);
    if (type == CFStringGetTypeID() || type == CFNumberGetTypeID() || type == CFBooleanGetTypeID() ||
        type == CFDataGetTypeID())
      return CFRetain(entry);
    if (type != CFDictionaryGetTypeID()) return nullptr;
    auto dictionary = static_cast<CFDictionaryRef>(entry);
    std::string name = className(CFDictionaryGetValue(dictionary, CFSTR("$class")));
    if (name == "NSArray" || name == "NSMutableArray") {
      std::vector<CFHolder> items;
      if (!members(CFDictionaryGetValue(dictionary, CFSTR("NS.objects")), depth, &items)) return nullptr;
      std::vector<const void*> pointers;
      for (const CFHolder& item : items) pointers.push_back(item.get());
      if (name == "NSArray")
        return CFArrayCreate(nullptr, pointers.data(), static_cast<CFIndex>(pointers.size()), &kCFTypeArrayCallBacks);
      CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
      if (!array) return nullptr;
      for (const void* item : pointers) {
        if (!Append(array, item)) {
          CFRelease(array);
          return nullptr;
        }
      }
      return array;
    }
    if (name == "NSDictionary" || name == "NSMutableDictionary") {
      std::vector<CFHolder> keys;
      std::vector<CFHolder> values;
      if (!members(CFDictionaryGetValue(dictionary, CFSTR("NS.keys")), depth, &keys) ||
          !members(CFDictionaryGetValue(dictionary, CFSTR("NS.objects")), depth, &values) ||
          keys.size() != values.size())
        return nullptr;
      CFMutableDictionaryRef result = NewDictionary();
      if (!result) return nullptr;
      for (size_t i = 0; i < keys.size(); ++i) {
        if (!Put(result, keys[i].get(), values[i].get())) {
          CFRelease(result);
          return nullptr;
        }
      }
      if (name == "NSMutableDictionary") return result;
      CFDictionaryRef copy = CFDictionaryCreateCopy(nullptr, result);
      CFRelease(result);
      return copy;
    }
    if (name == "NSString" || name == "NSMutableString") {
      CFTypeRef text = CFDictionaryGetValue(dictionary, CFSTR("NS.string"));
      CFHolder made;
      if (!text) {
        // Some archives carry the text as UTF-8 bytes instead.
        CFTypeRef bytes = CFDictionaryGetValue(dictionary, CFSTR("NS.bytes"));
        if (!bytes || CFGetTypeID(bytes) != CFDataGetTypeID()) return nullptr;
        auto data = static_cast<CFDataRef>(bytes);
        made = CFHolder(CFStringCreateWithBytes(nullptr, CFDataGetBytePtr(data), CFDataGetLength(data),
                                                kCFStringEncodingUTF8, false));
        text = made.get();
      }
      if (!text || CFGetTypeID(text) != CFStringGetTypeID()) return nullptr;
      if (name == "NSString") return CFStringCreateCopy(nullptr, static_cast<CFStringRef>(text));
      return CFStringCreateMutableCopy(nullptr, 0, static_cast<CFStringRef>(text));
    }
    if (name == "NSData" || name == "NSMutableData") {
      CFTypeRef bytes = CFDictionaryGetValue(dictionary, CFSTR("NS.data"));
      if (!bytes) bytes = CFDictionaryGetValue(dictionary, CFSTR("NS.bytes"));
      if (!bytes || CFGetTypeID(bytes) != CFDataGetTypeID()) return nullptr;
      if (name == "NSData") return CFDataCreateCopy(nullptr, static_cast<CFDataRef>(bytes));
      return CFDataCreateMutableCopy(nullptr, 0, static_cast<CFDataRef>(bytes));
    }
    if (name == "NSDate") {
      CFTypeRef time = CFDictionaryGetValue(dictionary, CFSTR("NS.time"));
      double at = 0;
      if (!time || CFGetTypeID(time) != CFNumberGetTypeID()) return nullptr;
      CFNumberGetValue(static_cast<CFNumberRef>(time), kCFNumberFloat64Type, &at);
      return CFDateCreate(nullptr, at);
    }
    if (name == "NSNull") return kCFNull;
    return nullptr;
  }

  // The class name of a "$class" reference: "$classname" of the description it points to; ""
  // when there is none.
  std::string className(CFTypeRef reference) const {
    int64_t index = UIDIndex(reference);
    if (index <= 0 || index >= count_) return std::string();
    CFTypeRef description = CFArrayGetValueAtIndex(objects_, static_cast<CFIndex>(index));
    if (CFGetTypeID(description) != CFDictionaryGetTypeID()) return std::string();
    CFTypeRef name = CFDictionaryGetValue(static_cast<CFDictionaryRef>(description), CFSTR("$classname"));
    if (!name || CFGetTypeID(name) != CFStringGetTypeID()) return std::string();
    return ToUTF8(static_cast<CFStringRef>(name));
  }

  // The objects a list of UIDs refers to; nil elements are refused, as collections hold none.
  bool members(CFTypeRef list, int depth, std::vector<CFHolder>* out) {
    if (!list || CFGetTypeID(list) != CFArrayGetTypeID()) return false;
    auto array = static_cast<CFArrayRef>(list);
    CFIndex count = CFArrayGetCount(array);
    out->reserve(static_cast<size_t>(count));
    for (CFIndex i = 0; i < count; ++i) {
      bool isNil;
      CFHolder item(decode(UIDIndex(CFArrayGetValueAtIndex(array, i)), depth + 1, &isNil));
      if (!item) return false;
      out->push_back(std::move(item));
    }
    return true;
  }

  CFArrayRef objects_;
  int64_t count_;
  std::vector<CFHolder> decoded_;
  std::vector<uint8_t> state_;
};

}  // namespace

}  // namespace zrp

namespace ns {

NSData* archivedDataWithRootObject(id rootObject) {
  try {
    zrp::Archiver archiver;
    zrp::CFHolder archive(archiver.archive(rootObject));
    if (!archive) return nullptr;
    std::string bytes;
    if (!zrp::WriteBinaryPropertyList(archive.get(), &bytes)) return nullptr;
    CFDataRef data =
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
    if (!data) return nullptr;
    return const_cast<NSData*>(static_cast<CFDataRef>(CFAutorelease(data)));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

id unarchiveObjectWithData(NSData* data) {
  if (!data) return nullptr;
  try {
    zrp::CFHolder archive(CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr));
    if (!archive || CFGetTypeID(archive.get()) != CFDictionaryGetTypeID()) return nullptr;
    auto dictionary = static_cast<CFDictionaryRef>(archive.get());
    CFTypeRef archiver = CFDictionaryGetValue(dictionary, CFSTR("$archiver"));
    CFTypeRef objects = CFDictionaryGetValue(dictionary, CFSTR("$objects"));
    CFTypeRef top = CFDictionaryGetValue(dictionary, CFSTR("$top"));
    if (!archiver || !CFEqual(archiver, CFSTR("NSKeyedArchiver")) || !objects ||
        CFGetTypeID(objects) != CFArrayGetTypeID() || !top || CFGetTypeID(top) != CFDictionaryGetTypeID())
      return nullptr;
    zrp::Unarchiver unarchiver(static_cast<CFArrayRef>(objects));
    bool isNil;
    CFTypeRef root = unarchiver.decode(
        zrp::UIDIndex(CFDictionaryGetValue(static_cast<CFDictionaryRef>(top), CFSTR("root"))), 0, &isNil);
    if (!root) return nullptr;
    return const_cast<void*>(CFAutorelease(root));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace ns
