#pragma once

#include <string>
#include <vector>

#include "workbench/cli11.h"

namespace workbench {

/// What an option or an argument of a command takes, for completion and manual pages.
struct OptionValue {
    bool none = false;                    ///< a flag
    bool optional = false;                ///< may be left out
    bool number = false;                  ///< a number, or several
    std::vector<std::string> choices;     ///< the words that are accepted; none: any
    std::vector<std::string> fileEndings; ///< endings of file names that the description tells of, e.g. "ctc"
    std::string range;                    ///< of a number, e.g. "0 to 5000"; empty: not limited by the parser
};

OptionValue option_value(const CLI::Option& option);

} // namespace workbench
