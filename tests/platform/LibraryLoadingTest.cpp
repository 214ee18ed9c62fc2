// LibraryLoadingTest.cpp: the shared libraries can be loaded with dlopen by a program that was not
// linked against them: their thread-local storage uses the dynamic model, so they never ask for
// room in the static TLS block (which a process cannot grow once it runs).
#include <CoreFoundation/CoreFoundation.h>
#include <ZRFramework/ZRFramework.h>
#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>

#include <string>

namespace {

// The path of the loaded library that holds the address.
std::string LibraryOf(const void* address) {
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_fname) return "";
  return info.dli_fname;
}

struct StaticTls {
  std::string path;
  bool found = false;
  bool flagged = false;
};

// Whether the loaded object at the path carries DF_STATIC_TLS: the linker sets it when any of
// its code reaches thread-local storage through the initial-exec or local-exec model.
int LookAtObject(dl_phdr_info* info, size_t, void* context) {
  auto* query = static_cast<StaticTls*>(context);
  if (!info->dlpi_name || query->path != info->dlpi_name) return 0;
  query->found = true;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    if (info->dlpi_phdr[i].p_type != PT_DYNAMIC) continue;
    const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(info->dlpi_addr + info->dlpi_phdr[i].p_vaddr);
    for (; entry->d_tag != DT_NULL; ++entry)
      if (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_STATIC_TLS)) query->flagged = true;
  }
  return 1;
}

bool UsesStaticTls(const std::string& path, bool* found) {
  StaticTls query{path};
  dl_iterate_phdr(LookAtObject, &query);
  *found = query.found;
  return query.flagged;
}

std::string PlatformLibrary() { return LibraryOf(reinterpret_cast<const void*>(&CFStringCreateWithCString)); }
std::string FrameworkLibrary() { return LibraryOf(reinterpret_cast<const void*>(&ZRCopySizeStringRef)); }

TEST(LibraryLoading, NoStaticThreadLocalStorage) {
  for (const std::string& path : {PlatformLibrary(), FrameworkLibrary()}) {
    SCOPED_TRACE(path);
    ASSERT_NE(path.find(".so"), std::string::npos);
    bool found = false;
    EXPECT_FALSE(UsesStaticTls(path, &found));
    EXPECT_TRUE(found);
  }
}

#if defined(__SANITIZE_ADDRESS__)
#define ZR_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZR_ADDRESS_SANITIZER 1
#endif
#endif

#ifndef ZR_ADDRESS_SANITIZER
// A fresh copy of each library in a namespace of its own, as dlopen loads it into a program that
// never saw it: every thread-local variable gets its storage then, after the process started.
// (The sanitizers' runtimes do not follow objects into new namespaces, so this part runs in the
// plain build.)
TEST(LibraryLoading, FreshCopiesLoadWithDlopen) {
  for (const std::string& path : {PlatformLibrary(), FrameworkLibrary()}) {
    SCOPED_TRACE(path);
    void* handle = dlmopen(LM_ID_NEWLM, path.c_str(), RTLD_NOW | RTLD_LOCAL);
    const char* error = handle ? nullptr : dlerror();
    EXPECT_NE(handle, nullptr) << (error ? error : "");
    if (!handle) continue;
    EXPECT_NE(dlsym(handle, path == PlatformLibrary() ? "CFStringCreateWithCString" : "ZRCopySizeStringRef"), nullptr);
    dlclose(handle);
  }
}
#endif

}  // namespace
