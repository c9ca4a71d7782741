#pragma once

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/temporary_folder.h"

/// While an instance lives, the C library writes numbers with a decimal comma, as in much of Europe. The locale is made
/// on the spot, for few machines have one installed.
class CommaLocale {
public:
    CommaLocale() {
        folder.write("comma.txt", "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\ngrouping 3;3\n"
                                  "END LC_NUMERIC\n");
        // It warns that all the other categories are missing, and counts that as a failure: what it made is looked at.
        const std::string command = "localedef -c --no-archive -i '" + folder.path("comma.txt") + "' '" +
                                    folder.path("comma") + "' > /dev/null 2>&1";
        if (std::system(command.c_str()) == -1) {
            return;
        }
        setenv("LOCPATH", folder.path().c_str(), 1);
        found = std::setlocale(LC_NUMERIC, "comma") != nullptr;
    }
    ~CommaLocale() {
        std::setlocale(LC_NUMERIC, "C");
        unsetenv("LOCPATH");
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    /// @return false where there is no such locale.
    bool is_there() const { return found; }

    /// Whether numbers are written so now.
    static bool is_in_force() {
        char half[8];
        std::snprintf(half, sizeof half, "%.1f", 0.5);
        return half[1] == ',';
    }

private:
    support::TemporaryFolder folder;
    bool found = false;
};
