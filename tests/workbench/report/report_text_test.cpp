#include "workbench/report/report_text.h"

#include <gtest/gtest.h>

#include <limits>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using workbench::html_text;
using workbench::script_json;

TEST(HtmlText, MarkupIsEscaped) {
    EXPECT_EQ(html_text("</title><script>alert('1' & \"2\")</script>"),
              "&lt;/title&gt;&lt;script&gt;alert(&#39;1&#39; &amp; &quot;2&quot;)&lt;/script&gt;");
}

TEST(HtmlText, Utf8StaysAndOtherBytesAreReplaced) {
    EXPECT_EQ(html_text("Sch\xC3\xB6n"), "Sch\xC3\xB6n");
    EXPECT_EQ(html_text("a\xFF\x62"), "a\xEF\xBF\xBD\x62");
}

TEST(ScriptJson, EndsNoScriptElement) {
    const json data{{"a</script><!--", "</SCRIPT><script>"}};
    const std::string text = script_json(data);
    EXPECT_EQ(text.find('<'), std::string::npos);
    EXPECT_EQ(json::parse(text), data);
}

TEST(ScriptJson, WhatIsNoNumberBecomesNull) {
    EXPECT_EQ(script_json({std::numeric_limits<double>::quiet_NaN(), 1, std::numeric_limits<double>::infinity()}),
              "[null,1,null]");
}

TEST(ScriptJson, BytesThatAreNotUtf8AreReplaced) {
    EXPECT_EQ(script_json(std::string("a\xFF")), "\"a\xEF\xBF\xBD\"");
}

} // namespace
