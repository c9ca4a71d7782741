// A run in a workbench without nvGetVersionOfNivora. Everything by which a run could say something is there.

#include <gtest/gtest.h>

#include "export.h"
#include "plugin/host_binding.h"
#include "plugin/oridan_plugin.h"

namespace {
int calls = 0;
}

extern "C" {
ORIDAN_API void nvMessageBox(const char*);
ORIDAN_API void nvLogText(const char*);
ORIDAN_API void nvShowLogTab();
ORIDAN_API void nvShowBusyCursor();

void nvMessageBox(const char*) {
    ++calls;
}
void nvLogText(const char*) {
    ++calls;
}
void nvShowLogTab() {
    ++calls;
}
void nvShowBusyCursor() {
    ++calls;
}
}

TEST(Execute, WithoutTheVersionFunctionEndsAtOnceWithFalseAndNoOutput) {
    host::nvMessageBox = nvMessageBox; // as an earlier run could have left them
    host::nvLogText = nvLogText;
    host::nvShowLogTab = nvShowLogTab;
    host::nvShowBusyCursor = nvShowBusyCursor;
    const auto leftover = reinterpret_cast<host::Uncalled>(0x1234);
    host::nv_intel_matrix_matrix_mult_f = leftover;
    OridanArtifactRemovalPlugin plugin;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(plugin.execute());
    EXPECT_FALSE(plugin.execute());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(host::nv_intel_matrix_matrix_mult_f, leftover) << "the products are not looked for any more";
}
