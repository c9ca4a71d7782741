#pragma once

#include <vector>

#include "tests/allocation/refusals.h"

/// What the module exports, each routine called with all it may ask memory for.
void add_file_cases(std::vector<refusals::Case>& cases);
void add_numerical_cases(std::vector<refusals::Case>& cases);
void add_pure_cases(std::vector<refusals::Case>& cases); ///< those that ask for none
