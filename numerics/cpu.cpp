#include "numerics/cpu.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace {

using numerics::InstructionSet;

#if defined(__x86_64__)

struct Registers {
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
};

// All zero where the processor does not know the leaf. (The compiler's own query would run code when the module loads.)
Registers cpuid(unsigned int leaf) {
    Registers r;
    __get_cpuid_count(leaf, 0, &r.eax, &r.ebx, &r.ecx, &r.edx);
    return r;
}

bool has(unsigned int flags, unsigned int needed) {
    return (flags & needed) == needed;
}

// Which register states the system saves when it switches tasks.
unsigned int saved_states() {
    unsigned int low = 0;
    unsigned int high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

InstructionSet offered() {
    constexpr unsigned int ymm = 0x06;
    constexpr unsigned int zmm = 0xE6;
    const Registers basic = cpuid(1);
    const Registers extended = cpuid(7);
    if (!has(basic.ecx, bit_OSXSAVE | bit_AVX | bit_FMA) || !has(saved_states(), ymm) ||
        !has(extended.ebx, bit_AVX2 | bit_BMI | bit_BMI2)) {
        return InstructionSet::baseline;
    }
    const bool wide = has(extended.ebx, bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL);
    return wide && has(saved_states(), zmm) ? InstructionSet::avx512 : InstructionSet::avx2;
}

#else

InstructionSet offered() {
    return InstructionSet::baseline;
}

#endif

InstructionSet allowed(const char* limit) {
    for (const InstructionSet set : {InstructionSet::baseline, InstructionSet::avx2}) {
        if (limit != nullptr && std::strcmp(limit, numerics::name_of(set)) == 0) {
            return set;
        }
    }
    return InstructionSet::avx512;
}

} // namespace

namespace numerics {

InstructionSet instruction_set() {
    static const InstructionSet chosen = instruction_set_within(std::getenv("ORIDAN_INSTRUCTION_SET"));
    return chosen;
}

InstructionSet instruction_set_within(const char* limit) {
    return std::min(allowed(limit), offered());
}

const char* name_of(InstructionSet set) {
    switch (set) {
    case InstructionSet::avx2:
        return "avx2";
    case InstructionSet::avx512:
        return "avx512";
    default:
        return "baseline";
    }
}

} // namespace numerics
