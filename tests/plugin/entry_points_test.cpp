#include "plugin/entry_points.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "plugin/oridan_plugin.h"

TEST(EntryPoints, SayWhatThePluginIs) {
    EXPECT_STREQ(getPluginName(), "EEG/MEG artifact removal with optimal basis set (OBS) approach ...");
    EXPECT_STREQ(getPluginDescription(), "Please check the <a href=\"OridanPluginHelp/index.html\"><b>EEG/MEG "
                                         "distributed solution plugin online help</b></a><br>");
    EXPECT_STREQ(getPluginVersion(), "0.0");
}

TEST(EntryPoints, TheAuthorIsANameInItalics) {
    const std::string author = getAuthor();
    ASSERT_GT(author.size(), 7u);
    EXPECT_EQ(author.substr(0, 3), "<i>");
    EXPECT_EQ(author.substr(author.size() - 4), "</i>");
    EXPECT_EQ(author.substr(3, author.size() - 7).find_first_of("<>"), std::string::npos);
}

TEST(EntryPoints, HelpFileAndInterfaceScriptAreTheSameEmptyText) {
    ASSERT_NE(getHelpFile(), nullptr);
    EXPECT_STREQ(getHelpFile(), "");
    EXPECT_EQ(getHelpFile(), getGUIScript());
}

TEST(EntryPoints, TextsStayWhereTheyAre) {
    EXPECT_EQ(getPluginName(), getPluginName());
    EXPECT_EQ(getPluginDescription(), getPluginDescription());
    EXPECT_EQ(getAuthor(), getAuthor());
    EXPECT_EQ(getPluginVersion(), getPluginVersion());
}

TEST(EntryPoints, CreatePluginMakesANewObjectEachTime) {
    const std::unique_ptr<NivoraPluginInterface> first(createPlugin());
    const std::unique_ptr<NivoraPluginInterface> second(createPlugin());
    EXPECT_NE(dynamic_cast<OridanArtifactRemovalPlugin*>(first.get()), nullptr);
    EXPECT_NE(dynamic_cast<OridanArtifactRemovalPlugin*>(second.get()), nullptr);
    EXPECT_NE(first, second);
    EXPECT_TRUE(first->initPlugin());
}
