#pragma once

#include <string>
#include <vector>

#include "workbench/cli11.h"

namespace workbench {

struct CompletionWord {
    std::string word;
    std::string description; ///< one line, may be empty
};

/// What may stand in the place of the last word of a command line.
struct Completion {
    std::vector<CompletionWord> words;
    bool files = false;                   ///< names of files besides
    std::vector<std::string> fileEndings; ///< only files with these endings; none: all files
};

/// @param program  with all its commands
/// @param words    those after the program's name up to the cursor; the last one is what was typed of the word so far.
///                 A "=" that a shell split off an option is skipped.
Completion complete(const CLI::App& program, const std::vector<std::string>& words);

/// The answer to a shell's script: ":" or ":files" with the endings in the first line, then words and descriptions
/// with a tabulator between them.
std::string completion_text(const Completion& completion);

/// What bash, zsh or fish loads. It asks the program itself at every completion and so never grows old.
std::string completion_script(const std::string& shell, const std::string& program);

} // namespace workbench
