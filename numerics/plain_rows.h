#pragma once

#include "numerics/arrays.h"

namespace numerics {

/// A square row array of create2dArray, released also where a later new finds no memory. Not exported.
class PlainRows {
public:
    explicit PlainRows(int order) : n(order), array(create2dArray(order, order)) {}
    ~PlainRows() { delete2dArray(array, n, n); }
    PlainRows(const PlainRows&) = delete;
    PlainRows& operator=(const PlainRows&) = delete;

    float** rows() const { return array; }

private:
    int n;
    float** array;
};

} // namespace numerics
