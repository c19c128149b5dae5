#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <thread>

namespace {

/// @return whether libvorn.so is in this program, which is not linked to it
bool isLoaded() {
  void* const handle = dlopen(VORN_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

void* load() {
  return dlopen(VORN_TEST_PLUGIN, RTLD_NOW | RTLD_LOCAL);
}

unsigned long run(void* plugin, const char* sql) {
  return reinterpret_cast<unsigned long (*)(const char*)>(dlsym(plugin, "runStatement"))(sql);
}

TEST(Unload, WaitsForTheThreadsThatHaveUsedIt) {
  setenv("VORN_STORE_DEFAULT", "sqlite::memory:", 1);
  for (int cycle = 0; cycle < 10; ++cycle) {
    void* const plugin = load();
    std::promise<void> used;
    std::promise<void> ending;
    std::thread thread([&] {
      EXPECT_EQ(run(plugin, "create table t (a)"), 0u);
      EXPECT_NE(run(plugin, "garbage"), 0u);
      used.set_value();
      ending.get_future().wait();
    });
    used.get_future().wait();
    dlclose(plugin);
    EXPECT_TRUE(isLoaded()) << "the thread has its sessions to close";
    ending.set_value();
    thread.join();
    dlclose(load());  // the loader looks when it is asked to unload
    ASSERT_FALSE(isLoaded()) << "after cycle " << cycle;
  }
}

#ifdef VORN_WITH_POSTGRES
// The last of this program: from here on the library stays. It is not visible to what it loads.
TEST(Unload, AModuleKeepsTheLibrary) {
  setenv("VORN_STORE_DEFAULT", "postgresql://127.0.0.1:1/state", 1);
  void* const plugin = load();
  EXPECT_EQ(std::async(std::launch::async, run, plugin, "select 1").get() >> 32, 2U);
  dlclose(plugin);
  dlclose(load());
  EXPECT_TRUE(isLoaded());
}
#endif

}  // namespace
