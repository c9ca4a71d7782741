#include "plugin/oridan_plugin.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "plugin/entry_points.h"

static_assert(std::has_virtual_destructor_v<NivoraPluginInterface>);
static_assert(std::is_base_of_v<NivoraPluginInterface, OridanArtifactRemovalPlugin>);
static_assert(std::is_abstract_v<NivoraPluginInterface>);

namespace {

struct Watched : OridanArtifactRemovalPlugin {
    bool* destroyed;
    explicit Watched(bool* flag) : destroyed(flag) {}
    ~Watched() override { *destroyed = true; }
};

// Calls a slot of the virtual table as a workbench built by another compiler does: by its position.
template <class Result>
__attribute__((no_sanitize("undefined"))) Result call_slot(NivoraPluginInterface* plugin, int slot) {
    void** table = *reinterpret_cast<void***>(plugin);
    return reinterpret_cast<Result (*)(NivoraPluginInterface*)>(table[slot])(plugin);
}

} // namespace

TEST(OridanArtifactRemovalPlugin, HoldsNoData) {
    EXPECT_EQ(sizeof(NivoraPluginInterface), sizeof(void*));
    EXPECT_EQ(sizeof(OridanArtifactRemovalPlugin), sizeof(void*));
}

TEST(OridanArtifactRemovalPlugin, SaysThatItIsAvailable) {
    OridanArtifactRemovalPlugin plugin;
    const OridanArtifactRemovalPlugin& constant = plugin;
    EXPECT_TRUE(plugin.initPlugin());
    EXPECT_TRUE(constant.isAvailable());
    EXPECT_TRUE(constant.checkPluginAvailability());
}

TEST(OridanArtifactRemovalPlugin, IsDeletedThroughTheInterface) {
    bool destroyed = false;
    NivoraPluginInterface* plugin = new Watched(&destroyed);
    delete plugin;
    EXPECT_TRUE(destroyed);

    NivoraPluginInterface* created = createPlugin();
    ASSERT_NE(created, nullptr);
    delete created; // a mismatch with operator new shows under the sanitizers
}

TEST(OridanArtifactRemovalPlugin, TheVirtualTableIsInTheWorkbenchsOrder) {
    // Slots 0 and 1 are the destructor. This process has no workbench functions: a run fails at once, silently.
    const std::unique_ptr<NivoraPluginInterface> plugin(createPlugin());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(call_slot<bool>(plugin.get(), 2)) << "execute";
    EXPECT_TRUE(call_slot<bool>(plugin.get(), 3)) << "initPlugin";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    bool destroyed = false;
    NivoraPluginInterface* watched = new Watched(&destroyed);
    call_slot<void>(watched, 1); // the deleting destructor
    EXPECT_TRUE(destroyed);
}

TEST(CheckVersionGreaterEqualVersion, ComparesLexicographically) {
    EXPECT_TRUE(checkVersionGreaterEqualVersion(1, 8, 3, 1, 8, 3));
    EXPECT_FALSE(checkVersionGreaterEqualVersion(1, 8, 2, 1, 8, 3));
    EXPECT_TRUE(checkVersionGreaterEqualVersion(1, 8, 4, 1, 8, 3));
    EXPECT_TRUE(checkVersionGreaterEqualVersion(1, 9, 0, 1, 8, 3));
    EXPECT_FALSE(checkVersionGreaterEqualVersion(1, 7, 99, 1, 8, 3));
    EXPECT_TRUE(checkVersionGreaterEqualVersion(2, 0, 0, 1, 8, 3));
    EXPECT_FALSE(checkVersionGreaterEqualVersion(0, 99, 99, 1, 8, 3));
}

TEST(CheckVersionGreaterEqualVersion, EverySmallTripleComparesAsANumberOfThreeDigits) {
    for (int a = 0; a < 27; ++a) {
        for (int b = 0; b < 27; ++b) {
            EXPECT_EQ(checkVersionGreaterEqualVersion(a / 9, a / 3 % 3, a % 3, b / 9, b / 3 % 3, b % 3), a >= b);
        }
    }
    EXPECT_TRUE(checkVersionGreaterEqualVersion(-1, 0, 0, -2, 9, 9));
}
