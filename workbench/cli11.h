#pragma once

// The command-line parser, in one place: its headers are large, and no warnings of theirs are ours.
#pragma GCC system_header
#include <CLI/CLI.hpp>
