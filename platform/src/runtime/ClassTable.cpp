// ClassTable.cpp: the table of classes: the host's own (each kind's concrete class under its
// public classes under NSObject), the application's classes added at run time, the walk up the
// superclass chain behind isKindOfClass:, and instances of the application's classes.
//
// Classes are never removed: a Class stays valid for the life of the process, and lookups by
// name happen under one lock. An object's class is found from its concrete class name (what
// className() answers), so that the mutable and immutable objects of one type identifier belong
// to different classes.
#include <Foundation/NSObject.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/Object.h"

struct objc_class {
  std::string name;
  Class superclass;
  CFTypeID typeID;  // instances' type identifier, for the application's classes; 0 otherwise
  size_t extraBytes;
  bool registered;
};

namespace zrp {
namespace {

struct Table {
  std::mutex mutex;
  std::unordered_map<std::string, Class> byName;
  std::vector<Class> byType;  // the application's classes, by type identifier - kTypeIDFirstDynamic

  Table() {
    // Public classes, then the concrete classes of the host's objects, each after its superclass.
    const char* const kClasses[][2] = {
        {"NSObject", nullptr},
        {"NSString", "NSObject"},
        {"NSMutableString", "NSString"},
        {"__NSCFConstantString", "NSString"},
        {"__NSCFString", "NSMutableString"},
        {"NSValue", "NSObject"},
        {"NSNumber", "NSValue"},
        {"__NSCFNumber", "NSNumber"},
        {"__NSCFBoolean", "NSNumber"},
        {"NSData", "NSObject"},
        {"NSMutableData", "NSData"},
        {"NSConcreteData", "NSData"},
        {"NSConcreteMutableData", "NSMutableData"},
        {"NSArray", "NSObject"},
        {"NSMutableArray", "NSArray"},
        {"__NSArrayI", "NSArray"},
        {"__NSArrayM", "NSMutableArray"},
        {"NSDictionary", "NSObject"},
        {"NSMutableDictionary", "NSDictionary"},
        {"__NSDictionaryI", "NSDictionary"},
        {"__NSDictionaryM", "NSMutableDictionary"},
        {"NSDate", "NSObject"},
        {"__NSDate", "NSDate"},
        {"NSNull", "NSObject"},
        {"CFNull", "NSNull"},
        {"NSError", "NSObject"},
        {"__NSCFError", "NSError"},
    };
    for (const auto& entry : kClasses) add(entry[0], entry[1] ? byName.at(entry[1]) : nullptr);
  }

  Class add(const std::string& name, Class superclass) {
    Class cls = new objc_class{name, superclass, 0, 0, true};
    byName.emplace(name, cls);
    return cls;
  }
};

Table& TheTable() {
  static auto* table = new Table();
  return *table;
}

// An instance of one of the application's classes.
class Instance final : public Object {
 public:
  Instance(Class cls, std::unique_ptr<unsigned char[]> ivars)
      : Object(cls->typeID), class_(cls), ivars_(std::move(ivars)) {}
  const char* className() const override { return class_->name.c_str(); }
  void* ivars() const { return ivars_.get(); }

 private:
  Class class_;
  std::unique_ptr<unsigned char[]> ivars_;
};

}  // namespace

const char* ClassNameOfType(CFTypeID typeID) {
  Table& table = TheTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  size_t index = typeID - kTypeIDFirstDynamic;
  return index < table.byType.size() ? table.byType[index]->name.c_str() : nullptr;
}

CFTypeID RegisterType(const char* name) {
  Table& table = TheTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  auto found = table.byName.find(name);
  if (found != table.byName.end() && found->second->typeID) return found->second->typeID;
  Class cls = found != table.byName.end() ? found->second : table.add(name, table.byName.at("NSObject"));
  table.byType.push_back(cls);
  cls->typeID = kTypeIDFirstDynamic + table.byType.size() - 1;
  return cls->typeID;
}

}  // namespace zrp

extern "C" {

Class objc_getClass(const char* name) {
  if (!name) return nullptr;
  zrp::Table& table = zrp::TheTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  auto found = table.byName.find(name);
  return found != table.byName.end() && found->second->registered ? found->second : nullptr;
}

Class object_getClass(id object) {
  if (!object) return nullptr;
  const char* name = zrp::AsObject(object)->className();
  zrp::Table& table = zrp::TheTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  auto found = table.byName.find(name);
  if (found != table.byName.end()) return found->second;
  // A kind of object the table has not met yet (a locale, a bundle ...): a class of its own
  // directly below NSObject.
  try {
    return table.add(name, table.byName.at("NSObject"));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

const char* class_getName(Class cls) { return cls ? cls->name.c_str() : "nil"; }

Class class_getSuperclass(Class cls) { return cls ? cls->superclass : nullptr; }

Class objc_allocateClassPair(Class superclass, const char* name, size_t extraBytes) {
  if (!name || !*name) return nullptr;
  zrp::Table& table = zrp::TheTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  try {
    if (table.byName.count(name)) return nullptr;
    if (!superclass) superclass = table.byName.at("NSObject");
    Class cls = table.add(name, superclass);
    cls->registered = false;
    cls->extraBytes = extraBytes + (superclass->typeID ? superclass->extraBytes : 0);
    return cls;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void objc_registerClassPair(Class cls) {
  if (!cls) return;
  zrp::Table& table = zrp::TheTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  if (cls->registered) return;
  try {
    table.byType.push_back(cls);
  } catch (const std::bad_alloc&) {
    return;
  }
  cls->typeID = zrp::kTypeIDFirstDynamic + table.byType.size() - 1;
  cls->registered = true;
}

id class_createInstance(Class cls, size_t extraBytes) {
  if (!cls || !cls->registered || cls->typeID == 0) return nullptr;
  size_t size = cls->extraBytes + extraBytes;
  std::unique_ptr<unsigned char[]> ivars(new (std::nothrow) unsigned char[size > 0 ? size : 1]());
  if (!ivars) return nullptr;
  return zrp::New<zrp::Instance>(cls, std::move(ivars));
}

void* object_getIndexedIvars(id object) {
  if (!object) return nullptr;
  auto* instance = dynamic_cast<zrp::Instance*>(zrp::AsMutableObject(object));
  return instance ? instance->ivars() : nullptr;
}

}  // extern "C"

namespace ns {

bool isSubclassOfClass(Class cls, Class other) {
  if (!other) return false;
  for (Class walk = cls; walk; walk = walk->superclass)
    if (walk == other) return true;
  return false;
}

bool isKindOfClass(id object, Class cls) { return object && isSubclassOfClass(object_getClass(object), cls); }

bool isMemberOfClass(id object, Class cls) { return object && cls && object_getClass(object) == cls; }

}  // namespace ns
