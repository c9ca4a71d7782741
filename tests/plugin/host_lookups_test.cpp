// What the binding asks of the loader: it is compiled here to ask one that writes everything down.

#include "plugin/host_binding.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "plugin/entry_points.h"
#include "plugin/nivora_plugin_interface.h"
#include "tests/plugin/expected_host_names.h"

namespace {

// Anything that is asked of it, in order: "open", "find NAME" or "close".
struct Loader {
    bool hasHandle = true;
    std::string missing;
    std::vector<std::string> asked;
    std::vector<int> modes;
    std::uintptr_t handle = 0; // the latest: every one is another
    std::uintptr_t found = 0;  // a function of its own for every lookup
};
Loader loader;

std::vector<std::string> lookups(std::size_t first, std::size_t last) {
    std::vector<std::string> all{"open"};
    for (std::size_t i = first; i < last; ++i) {
        all.push_back(std::string("find ") + expectedHostNames[i]);
    }
    return all;
}

template <class Function>
std::uintptr_t address_of(Function function) {
    return reinterpret_cast<std::uintptr_t>(function);
}

constexpr std::uintptr_t firstHandle = 0x1000;
constexpr std::uintptr_t firstFunction = 0x100000;

class HostLookups : public testing::Test {
protected:
    void SetUp() override {
        loader = Loader{};
        loader.handle = firstHandle;
        loader.found = firstFunction;
    }
};

} // namespace

extern "C" {
void* recorded_dlopen(const char* path, int mode);
void* recorded_dlsym(void* handle, const char* name);
int recorded_dlclose(void* handle);

void* recorded_dlopen(const char* path, int mode) {
    EXPECT_EQ(path, nullptr) << "the process itself";
    loader.asked.emplace_back("open");
    loader.modes.push_back(mode);
    return loader.hasHandle ? reinterpret_cast<void*>(++loader.handle) : nullptr;
}

void* recorded_dlsym(void* handle, const char* name) {
    EXPECT_EQ(address_of(handle), loader.handle) << "the handle of this binding";
    loader.asked.push_back(std::string("find ") + name);
    return name == loader.missing ? nullptr : reinterpret_cast<void*>(++loader.found);
}

int recorded_dlclose(void*) {
    loader.asked.emplace_back("close");
    return 0;
}
}

TEST_F(HostLookups, AreOneForEachOfThe150NamesInThisOrder) {
    EXPECT_TRUE(InitNVAccess());
    EXPECT_EQ(loader.asked, lookups(0, 150));
    EXPECT_EQ(std::size(expectedHostNames), 150U);
    EXPECT_EQ(address_of(host::nvGetVersionOfNivora), firstFunction + 1);
    EXPECT_EQ(address_of(host::nvGetNivoraPath), firstFunction + 2);
    EXPECT_EQ(address_of(host::nvLaunchICADialog), firstFunction + 150);
}

TEST_F(HostLookups, GoOnBehindAMissingNameUnlessItIsTheFirst) {
    loader.missing = "nvLogText";
    EXPECT_TRUE(InitNVAccess());
    EXPECT_EQ(loader.asked, lookups(0, 150));
    loader.asked.clear();
    loader.missing = "nvGetVersionOfNivora";
    EXPECT_FALSE(InitNVAccess());
    EXPECT_EQ(loader.asked, lookups(0, 1));
}

TEST_F(HostLookups, OfTheProductsEndAtTheFirstThatIsMissing) {
    std::vector<std::string> expected{"open"};
    for (const char* name : {"nv_intel_matrix_matrix_mult_f", "nv_intel_matrix_matrix_mult_d",
                             "nv_intel_matrix_vector_mult_f", "nv_intel_matrix_vector_mult_d"}) {
        expected.push_back(std::string("find ") + name);
        loader.asked.clear();
        loader.missing = name;
        EXPECT_FALSE(InitMKLCBLASAccess());
        EXPECT_EQ(loader.asked, expected);
    }
    loader.asked.clear();
    loader.missing.clear();
    EXPECT_TRUE(InitMKLCBLASAccess());
    EXPECT_EQ(loader.asked, expected);
}

TEST_F(HostLookups, NeedAHandle) {
    EXPECT_TRUE(InitNVAccess());
    EXPECT_TRUE(InitMKLCBLASAccess());
    loader.asked.clear();
    loader.hasHandle = false;
    EXPECT_FALSE(InitNVAccess());
    EXPECT_FALSE(InitMKLCBLASAccess());
    EXPECT_EQ(loader.asked, (std::vector<std::string>{"open", "open"}));
    EXPECT_EQ(address_of(host::nvGetVersionOfNivora), firstFunction + 1) << "nothing is bound to something else";
    EXPECT_EQ(address_of(host::nv_intel_matrix_matrix_mult_f), firstFunction + 151);
}

TEST_F(HostLookups, UseALazyHandleThatIsAskedForAnewAndNeverClosed) {
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(InitNVAccess());
        EXPECT_TRUE(InitMKLCBLASAccess());
    }
    EXPECT_EQ(loader.modes.size(), 4U);
    for (const int mode : loader.modes) {
        EXPECT_EQ(mode & (RTLD_LAZY | RTLD_NOW), RTLD_LAZY);
    }
    for (const std::string& call : loader.asked) {
        EXPECT_NE(call, "close");
    }
}

TEST_F(HostLookups, AreNotMadeBeforeARun) {
    getPluginName();
    getPluginDescription();
    getAuthor();
    getHelpFile();
    getPluginVersion();
    getGUIScript();
    {
        const std::unique_ptr<NivoraPluginInterface> plugin(createPlugin());
        EXPECT_TRUE(plugin->initPlugin());
    }
    EXPECT_EQ(loader.asked, std::vector<std::string>());
}
