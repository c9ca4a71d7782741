#pragma once

#include <locale.h>

namespace obs {

/// While an instance lives, the C library formats numbers in this thread as the classic locale does, whatever the
/// program has set.
class ClassicLocale {
public:
    ClassicLocale() : classic(newlocale(LC_ALL_MASK, "C", locale_t{})), before(uselocale(classic)) {}
    ClassicLocale(const ClassicLocale&) = delete;
    ClassicLocale& operator=(const ClassicLocale&) = delete;
    ~ClassicLocale() {
        uselocale(before);
        if (classic != locale_t{}) {
            freelocale(classic);
        }
    }

private:
    locale_t classic;
    locale_t before;
};

} // namespace obs
