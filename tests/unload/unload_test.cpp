#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <string>
#include <thread>

namespace {

/// libvorn.so, loaded while this lives. This program is not linked to it.
class Library {
 public:
  Library() : m_handle(dlopen(VORN_TEST_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) ADD_FAILURE() << dlerror();
  }
  ~Library() { dlclose(m_handle); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  static bool isLoaded() {
    void* const handle = dlopen(VORN_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
  }

  /// Runs a statement on the default store. @return its code
  unsigned long run(const std::string& sql) const {
    alignas(std::max_align_t) char statement[512], database[64];
    find<void(void*)>("_ZN11CVORNsqlstrC1Ev")(statement);
    find<void(void*, const std::string&)>(kAssign)(statement, sql);
    find<void(void*, bool)>("_ZN9MIRAsqlDBC1Eb")(database, false);
    const unsigned long code = find<unsigned long(void*, const void*)>(
        "_ZN9MIRAsqlDB12execWriteSQLERK9CVORNBase")(database, statement);
    find<void(void*)>("_ZN11CVORNsqlstrD1Ev")(statement);
    return code;
  }

 private:
  static constexpr char kAssign[] =
      "_ZN11CVORNsqlstr6assignERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";

  template <typename Function>
  Function* find(const char* symbol) const {
    return reinterpret_cast<Function*>(dlsym(m_handle, symbol));
  }

  void* m_handle;
};

TEST(Unload, WaitsForTheThreadsThatHaveUsedIt) {
  setenv("VORN_STORE_DEFAULT", "sqlite::memory:", 1);
  for (int cycle = 0; cycle < 10; ++cycle) {
    std::promise<void> used, ending;
    std::thread thread;
    {
      const Library library;
      thread = std::thread([&] {
        EXPECT_EQ(library.run("create table t (a)"), 0u);
        EXPECT_NE(library.run("garbage"), 0u);
        used.set_value(), ending.get_future().wait();
      });
      used.get_future().wait();
    }
    EXPECT_TRUE(Library::isLoaded()) << "the thread has its sessions to close";
    ending.set_value(), thread.join();
    { const Library again; }  // the loader looks when it is asked to unload
    ASSERT_FALSE(Library::isLoaded()) << "after cycle " << cycle;
  }
}

}  // namespace
