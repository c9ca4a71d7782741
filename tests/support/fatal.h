#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/support/checkers.h"

// Present only where the program runs under the leak checker.
extern "C" __attribute__((weak)) void __lsan_disable(void);

/// Fatal numerical errors, tested in a child process.
namespace support {

/// A process that ends in the middle of its work owns memory still; that is no leak.
inline void expect_no_release() {
    if (__lsan_disable != nullptr) {
        __lsan_disable();
    }
}

inline std::string fatal_lines(const std::string& message) {
    return "Numerical Recipes run-time error...\n" + message + "\n...now exiting to system...\n";
}

/// Standard error holds the three lines and nothing else. (The address sanitizer announces a request that is too large
/// before it refuses it; only its lines may stand in front.)
struct HoldsFatalLines {
    using is_gtest_matcher = void;

    std::string message;

    bool MatchAndExplain(const std::string& text, std::ostream*) const {
        const std::string lines = fatal_lines(message);
        if (!withAddressSanitizer) {
            return text == lines;
        }
        const bool atEnd =
            text.size() >= lines.size() && text.compare(text.size() - lines.size(), lines.size(), lines) == 0;
        return atEnd && (text.size() == lines.size() || text.find("AddressSanitizer failed to allocate") < 80);
    }
    void DescribeTo(std::ostream* out) const { *out << "is exactly\n" << fatal_lines(message); }
    void DescribeNegationTo(std::ostream* out) const { *out << "is not\n" << fatal_lines(message); }
};

inline testing::Matcher<const std::string&> holds_fatal_lines(const std::string& message) {
    return HoldsFatalLines{message};
}

} // namespace support

/// The statement ends the process with status 1 after the three lines around `message`.
#define EXPECT_FATAL(statement, message)                                                                               \
    EXPECT_EXIT(                                                                                                       \
        {                                                                                                              \
            support::expect_no_release();                                                                              \
            statement;                                                                                                 \
        },                                                                                                             \
        testing::ExitedWithCode(1), support::holds_fatal_lines(message))
