#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// Tables of values computed elsewhere in higher precision (tests/tables, each beside the script that made it), and the
/// largest error that a routine shows against one.
namespace support {

/// The rows of tests/tables/NAME: numbers between blanks, `#` starts a comment line. Decimal and hexadecimal numbers,
/// inf and nan. Throws nothing: a missing or crooked table fails the test and gives no rows.
inline std::vector<std::vector<double>> read_table(const std::string& name, std::size_t columns) {
    std::vector<std::vector<double>> rows;
    std::ifstream file(std::string(ORIDAN_TABLES) + "/" + name);
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream words(line);
        std::vector<double> row;
        for (std::string word; words >> word;) {
            char* end = nullptr;
            row.push_back(std::strtod(word.c_str(), &end));
            if (*end != '\0') {
                ADD_FAILURE() << name << ": not a number: " << word;
                return {};
            }
        }
        if (row.size() != columns) {
            ADD_FAILURE() << name << ": " << columns << " numbers expected in the row " << line;
            return {};
        }
        rows.push_back(std::move(row));
    }
    EXPECT_FALSE(rows.empty()) << "no rows in the table " << name;
    return rows;
}

/// The largest error seen, and the arguments that gave it. NaN or infinity against anything else is an infinite error.
class WorstError {
public:
    explicit WorstError(std::string what) : what_(std::move(what)) {}

    void relative(double expected, double actual, const std::vector<double>& arguments) {
        add(expected, actual, std::abs(expected), arguments);
    }
    void absolute(double expected, double actual, const std::vector<double>& arguments) {
        add(expected, actual, 1.0, arguments);
    }
    double value() const { return worst_; }

    /// Prints the measured maximum and checks that the bound stated in the routine's reference is kept.
    void expect_within(double bound) const {
        std::cout << "[ measured ] " << what_ << ": largest error " << std::setprecision(3) << worst_ << " (stated "
                  << bound << ") over " << count_ << " values, at " << where_ << std::endl;
        EXPECT_GT(count_, 0) << what_;
        EXPECT_LE(worst_, bound) << what_ << " at " << where_;
    }

private:
    void add(double expected, double actual, double scale, const std::vector<double>& arguments) {
        ++count_;
        double error = std::abs(actual - expected) / (scale == 0.0 ? 1.0 : scale);
        const bool bothNan = std::isnan(expected) && std::isnan(actual);
        if (bothNan || expected == actual) {
            error = 0.0;
        } else if (!std::isfinite(expected) || !std::isfinite(actual)) {
            error = std::numeric_limits<double>::infinity();
        }
        if (error >= worst_) {
            worst_ = error;
            std::ostringstream text;
            text << std::setprecision(17) << "(";
            for (const double argument : arguments) {
                text << ' ' << argument;
            }
            text << " ): expected " << expected << ", got " << actual;
            where_ = text.str();
        }
    }

    std::string what_;
    double worst_ = 0.0;
    long count_ = 0;
    std::string where_;
};

} // namespace support
