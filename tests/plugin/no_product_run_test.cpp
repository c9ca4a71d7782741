// A run in a workbench without the matrix products that is too old besides: the products are asked for first.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "export.h"
#include "plugin/oridan_plugin.h"

namespace {
std::vector<std::string> boxes;
int versionQuestions = 0;
} // namespace

extern "C" {
ORIDAN_API void nvGetVersionOfNivora(int* major, int* minor, int* patch);
ORIDAN_API void nvMessageBox(const char* text);
ORIDAN_API void nvLogText(const char* text);

void nvGetVersionOfNivora(int* major, int* minor, int* patch) {
    ++versionQuestions;
    *major = *minor = *patch = 0;
}
void nvMessageBox(const char* text) {
    boxes.emplace_back(text);
}
void nvLogText(const char* text) {
    boxes.push_back("log " + std::string(text));
}
}

TEST(Execute, WithoutProductsEndsBeforeTheVersionIsLookedAt) {
    OridanArtifactRemovalPlugin plugin;
    EXPECT_FALSE(plugin.execute());
    EXPECT_EQ(boxes, std::vector<std::string>{"Did not get access to MKL CBLAS functions!"});
    EXPECT_EQ(versionQuestions, 0);
}
