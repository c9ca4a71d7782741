#include "stats/sorting.h"

#include "stats/sort_stack.h"

namespace {

// What the routines move about: values alone, values with partners, or indices of values. key() is what is compared.
template <class Value>
struct Values {
    using Item = Value;

    Value* arr;

    Item load(long i) const { return arr[i]; }
    void store(long i, Item item) const { arr[i] = item; }
    Value key(Item item) const { return item; }
};

struct Pairs {
    struct Item {
        float a;
        float b;
    };

    float* arr;
    float* brr;

    Item load(long i) const { return {arr[i], brr[i]}; }
    void store(long i, Item item) const {
        arr[i] = item.a;
        brr[i] = item.b;
    }
    float key(Item item) const { return item.a; }
};

struct Indices {
    using Item = unsigned long;

    const float* arr;
    unsigned long* indx;

    Item load(long i) const { return indx[i]; }
    void store(long i, Item item) const { indx[i] = item; }
    float key(Item item) const { return arr[item]; }
};

template <class View>
auto key_at(const View& view, long i) {
    return view.key(view.load(i));
}

template <class View>
void swap_items(const View& view, long i, long j) {
    const typename View::Item item = view.load(i);
    view.store(i, view.load(j));
    view.store(j, item);
}

template <class View>
void put_in_order(const View& view, long i, long j) {
    if (key_at(view, i) > key_at(view, j)) {
        swap_items(view, i, j);
    }
}

// Splits l..ir (three elements or more) around its median of three: afterwards no key of l..j-1 is above the pivot,
// which stands at j, and none of i..ir is below. The scans need no bounds, not even with NaN: they stop at whatever is
// not below (not above) the pivot, and such elements stand at both ends from the start and at every swapped place.
template <class View>
void split(const View& view, long l, long ir, long& i, long& j) {
    swap_items(view, (l + ir) / 2, l + 1);
    put_in_order(view, l, ir);
    put_in_order(view, l + 1, ir);
    put_in_order(view, l, l + 1);
    const typename View::Item pivot = view.load(l + 1);
    i = l + 1;
    j = ir;
    for (;;) {
        do {
            ++i;
        } while (key_at(view, i) < view.key(pivot));
        do {
            --j;
        } while (key_at(view, j) > view.key(pivot));
        if (j < i) {
            break;
        }
        swap_items(view, i, j);
    }
    view.store(l + 1, view.load(j));
    view.store(j, pivot);
}

template <class View>
void insertion_sort(const View& view, long l, long ir) {
    for (long j = l + 1; j <= ir; ++j) {
        const typename View::Item item = view.load(j);
        long i = j - 1;
        while (i >= l && !(key_at(view, i) <= view.key(item))) {
            view.store(i + 1, view.load(i));
            --i;
        }
        view.store(i + 1, item);
    }
}

template <class View>
void quicksort(const View& view, unsigned long n, const char* overflowMessage) {
    constexpr long insertionWidth = 7; // l..ir with ir - l below this is finished by insertion
    SortStack pending(overflowMessage);
    long l = 1;
    long ir = static_cast<long>(n);
    for (;;) {
        if (ir - l < insertionWidth) {
            insertion_sort(view, l, ir);
            if (pending.empty()) {
                return;
            }
            pending.pop(l, ir);
            continue;
        }
        long i = 0;
        long j = 0;
        split(view, l, ir, i, j);
        if (ir - i + 1 >= j - l) {
            pending.push(i, ir);
            ir = j - 1;
        } else {
            pending.push(l, j - 1);
            l = i;
        }
    }
}

template <class Value>
Value select_value(unsigned long rank, unsigned long n, Value* arr) {
    const Values<Value> view{arr};
    const long k = static_cast<long>(rank);
    long l = 1;
    long ir = static_cast<long>(n);
    while (ir > l + 1) {
        long i = 0;
        long j = 0;
        split(view, l, ir, i, j);
        if (j >= k) {
            ir = j - 1;
        }
        if (j <= k) {
            l = i;
        }
    }
    if (ir == l + 1) {
        put_in_order(view, l, ir);
    }
    return arr[rank];
}

} // namespace

void sort(unsigned long n, float* arr) {
    quicksort(Values<float>{arr}, n, "NSTACK too small in sort.");
}

void sort2(unsigned long n, float* arr, float* brr) {
    quicksort(Pairs{arr, brr}, n, "NSTACK too small in sort2.");
}

void indexx(unsigned long n, float* arr, unsigned long* indx) {
    for (unsigned long j = 1; j <= n; ++j) {
        indx[j] = j;
    }
    quicksort(Indices{arr, indx}, n, "NSTACK too small in indexx.");
}

void hpsort(unsigned long n, float* ra) {
    if (n < 2) {
        return;
    }
    unsigned long l = n / 2 + 1;
    unsigned long ir = n;
    for (;;) {
        float rra = 0.0f;
        if (l > 1) { // the heap is still being built
            --l;
            rra = ra[l];
        } else {
            rra = ra[ir];
            ra[ir] = ra[1];
            --ir;
            if (ir == 1) {
                ra[1] = rra;
                return;
            }
        }
        unsigned long i = l;
        unsigned long j = 2 * l;
        while (j <= ir) {
            if (j < ir && ra[j] < ra[j + 1]) {
                ++j;
            }
            if (!(rra < ra[j])) {
                break;
            }
            ra[i] = ra[j];
            i = j;
            j = 2 * j;
        }
        ra[i] = rra;
    }
}

float select(unsigned long k, unsigned long n, float* arr) {
    return select_value(k, n, arr);
}

unsigned short select_ushort(unsigned long k, unsigned long n, unsigned short* arr) {
    return select_value(k, n, arr);
}
