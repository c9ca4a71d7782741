#include "obs/run_texts.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "tests/obs/comma_locale.h"

using obs::field_text;
using obs::formatted_without_arguments;

namespace {

std::string formatted(const std::string& format) {
    return formatted_without_arguments(format, 256);
}

} // namespace

TEST(FieldText, EndsAtTheNul) {
    const char field[8] = {'a', 'b', '\0', 'c', 'd', '\0', 'e', 'f'};
    EXPECT_EQ(field_text(field, sizeof field), "ab");
    EXPECT_EQ(field_text("", 1), "");
}

TEST(FieldText, WithoutANulIsTheWholeField) {
    const char field[4] = {'a', 'b', 'c', 'd'}; // reading on would show under the sanitizers
    EXPECT_EQ(field_text(field, sizeof field), "abcd");
    EXPECT_EQ(field_text(field, 0), "");
}

TEST(FormattedWithoutArguments, PlainTextIsCopied) {
    EXPECT_EQ(formatted(""), "");
    EXPECT_EQ(formatted("R wave (ECG) #1 \\n \xC3\xA4"), "R wave (ECG) #1 \\n \xC3\xA4");
}

TEST(FormattedWithoutArguments, ADoubledPercentSignIsOne) {
    EXPECT_EQ(formatted("%%"), "%");
    EXPECT_EQ(formatted("50%% of %%d"), "50% of %d");
    EXPECT_EQ(formatted("%%%%"), "%%");
    EXPECT_EQ(formatted("%%%d"), "%0");
}

TEST(FormattedWithoutArguments, AMissingNumberIsZero) {
    EXPECT_EQ(formatted("R%d"), "R0");
    for (const char* format : {"%i",   "%u",  "%x",  "%X",  "%o",  "%g",   "%G",  "%ld", "%lld", "%hd",
                               "%hhd", "%zu", "%jd", "%td", "%lu", "%llx", "%#x", "%#o", "%'d",  "%-d"}) {
        EXPECT_EQ(formatted(std::string("R") + format + "!"), "R0!") << format;
    }
    EXPECT_EQ(formatted("%d%d %u"), "00 0");
}

TEST(FormattedWithoutArguments, AMissingFloatingPointNumberIsZero) {
    EXPECT_EQ(formatted("%f"), "0.000000");
    EXPECT_EQ(formatted("%F"), "0.000000");
    EXPECT_EQ(formatted("%lf"), "0.000000");
    EXPECT_EQ(formatted("%Lf"), "0.000000");
    EXPECT_EQ(formatted("%e"), "0.000000e+00");
    EXPECT_EQ(formatted("%.2E"), "0.00E+00");
    EXPECT_EQ(formatted("%Lg"), "0");
    EXPECT_EQ(formatted("%a"), "0x0p+0");
    EXPECT_EQ(formatted("%.1f|%6.2f|%-6.2f|%06.1f|%+.0f"), "0.0|  0.00|0.00  |0000.0|+0");
}

TEST(FormattedWithoutArguments, DecimalPointsArePointsWhateverTheLocale) {
    const CommaLocale comma;
    if (!comma.is_there()) {
        GTEST_SKIP() << "no locale with a decimal comma: localedef makes none here";
    }
    EXPECT_TRUE(CommaLocale::is_in_force());
    EXPECT_EQ(formatted("%f %.2E %#g %#a %#.0f"), "0.000000 0.00E+00 0.00000 0x0.p+0 0.");
    EXPECT_TRUE(CommaLocale::is_in_force());
}

TEST(FormattedWithoutArguments, FlagsWidthAndPrecisionHold) {
    EXPECT_EQ(formatted("%5d|"), "    0|");
    EXPECT_EQ(formatted("%-5d|"), "0    |");
    EXPECT_EQ(formatted("%05d|"), "00000|");
    EXPECT_EQ(formatted("%+d|"), "+0|");
    EXPECT_EQ(formatted("% d|"), " 0|");
    EXPECT_EQ(formatted("%.3d|"), "000|");
    EXPECT_EQ(formatted("%6.3d|"), "   000|");
    EXPECT_EQ(formatted("%-+6.2d|"), "+00   |");
    EXPECT_EQ(formatted("%.0d|"), "|");
    EXPECT_EQ(formatted("%.d|"), "|");
}

TEST(FormattedWithoutArguments, APercentSignInOrdinaryTextIsAConversionToo) {
    EXPECT_EQ(formatted("50% done"), "50 0one");
    EXPECT_EQ(formatted("100%escape"), "1000.000000e+00scape");
}

TEST(FormattedWithoutArguments, AMissingWidthOrPrecisionIsZero) {
    EXPECT_EQ(formatted("%*d|"), "0|");
    EXPECT_EQ(formatted("%-*d|"), "0|");
    EXPECT_EQ(formatted("%.*f|"), "0|");
    EXPECT_EQ(formatted("%*.*d|"), "|");
}

TEST(FormattedWithoutArguments, AMissingTextIsEmpty) {
    EXPECT_EQ(formatted("a%sb"), "ab");
    EXPECT_EQ(formatted("a%lsb"), "ab");
    EXPECT_EQ(formatted("a%.9sb"), "ab");
    EXPECT_EQ(formatted("a%4sb"), "a    b");
    EXPECT_EQ(formatted("a%-4sb"), "a    b");
}

TEST(FormattedWithoutArguments, NothingIsWrittenForACountOfCharacters) {
    EXPECT_EQ(formatted("a%nb"), "ab");
    EXPECT_EQ(formatted("a%hhnb"), "ab");
    EXPECT_EQ(formatted("a%lnb"), "ab");
    EXPECT_EQ(formatted("a%5nb"), "ab");
}

TEST(FormattedWithoutArguments, AMissingCharacterEndsTheText) {
    EXPECT_EQ(formatted("a%cb"), "a");
    EXPECT_EQ(formatted("a%5cb"), "a    ");
    EXPECT_EQ(formatted("a%-5cb"), "a");
    EXPECT_EQ(formatted("a%1cb"), "a");
    EXPECT_EQ(formatted("a%lcb"), "a");
}

TEST(FormattedWithoutArguments, AMissingPointerIsFormattedAsNull) {
    char null[32]; // as the C library writes it
    std::snprintf(null, sizeof null, "%p", static_cast<void*>(nullptr));
    EXPECT_EQ(formatted("%p"), null);
}

TEST(FormattedWithoutArguments, WhatIsNoConversionStaysAsItStands) {
    EXPECT_EQ(formatted("100%"), "100%");
    EXPECT_EQ(formatted("%"), "%");
    EXPECT_EQ(formatted("%y%k"), "%y%k");
    EXPECT_EQ(formatted("a%5"), "a%5");
    EXPECT_EQ(formatted("a%-08.3ll"), "a%-08.3ll");
    EXPECT_EQ(formatted("%1"), "%1");
    EXPECT_EQ(formatted("% (d)"), "% (d)");
    EXPECT_EQ(formatted("%y then %d"), "%y then 0");
}

TEST(FormattedWithoutArguments, NumberedArgumentsAreMissingToo) {
    EXPECT_EQ(formatted("A%1$d"), "A0");
    EXPECT_EQ(formatted("%12$3d"), "  0");
    EXPECT_EQ(formatted("%2$s!"), "!");
}

TEST(FormattedWithoutArguments, TheResultFitsItsBuffer) {
    const std::string longName(300, 'n');
    EXPECT_EQ(formatted(longName), longName.substr(0, 255));
    EXPECT_EQ(formatted(longName.substr(0, 255)), longName.substr(0, 255));
    EXPECT_EQ(formatted_without_arguments("abc%d", 5), "abc0");
    EXPECT_EQ(formatted_without_arguments("abc%d", 4), "abc");
    EXPECT_EQ(formatted_without_arguments("abc%5d", 6), "abc  ");
    EXPECT_EQ(formatted_without_arguments("abc%%", 4), "abc");
    EXPECT_EQ(formatted_without_arguments("abc%y", 5), "abc%");
    EXPECT_EQ(formatted_without_arguments("abc", 1), "");
    EXPECT_EQ(formatted_without_arguments("%d", 1), "");
}

TEST(FormattedWithoutArguments, ImmenseWidthsAndPrecisionsAreCut) {
    EXPECT_EQ(formatted("R%1000000d"), "R" + std::string(254, ' '));
    EXPECT_EQ(formatted("R%-1000000dx"), "R0" + std::string(253, ' '));
    EXPECT_EQ(formatted("R%01000000d"), "R" + std::string(254, '0'));
    EXPECT_EQ(formatted("R%.1000000d"), "R" + std::string(254, '0'));
    EXPECT_EQ(formatted("R%.99999999999999999999999f"), "R0." + std::string(252, '0'));
    EXPECT_EQ(formatted("R%99999999999999999999999s"), "R" + std::string(254, ' '));
    EXPECT_EQ(formatted("R%4294967296d"), "R" + std::string(254, ' ')); // 0 in 32 bits
    EXPECT_EQ(formatted("R%18446744073709551616d"), "R" + std::string(254, ' '));
}

TEST(FormattedWithoutArguments, ManyConversionsAreCutToo) {
    std::string format;
    std::string zeros;
    for (int i = 0; i < 300; ++i) {
        format += "%d";
        zeros += "0";
    }
    EXPECT_EQ(formatted(format), zeros.substr(0, 255));
}

// A text of every short combination, against the C library with a zero as the argument.
TEST(FormattedWithoutArguments, AgreesWithTheCLibraryGivenAZero) {
    for (const char* flags : {"", "-", "0", "+", " ", "#", "-+", "+0", " #", "-#"}) {
        for (const char* width : {"", "1", "7", "20"}) {
            for (const char* precision : {"", ".", ".0", ".1", ".9"}) {
                const std::string spec = std::string("%") + flags + width + precision;
                for (const char type : {'d', 'i', 'u', 'x', 'X', 'o'}) {
                    const std::string format = "<" + spec + type + ">";
                    char expected[128];
                    std::snprintf(expected, sizeof expected, format.c_str(), 0);
                    EXPECT_EQ(formatted(format), expected) << format;
                }
                for (const char type : {'f', 'e', 'g', 'E', 'G', 'a', 'A', 'F'}) {
                    const std::string format = "<" + spec + type + ">";
                    char expected[128];
                    std::snprintf(expected, sizeof expected, format.c_str(), 0.0);
                    EXPECT_EQ(formatted(format), expected) << format;
                }
            }
        }
    }
}
