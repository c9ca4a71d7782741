#pragma once

/// @file
/// Which of the processor's vector instructions the routines use. Not exported.
///
/// Every variant of a routine gives the same bits, but which NaN stands for a NaN is left open; the choice is only
/// about speed. It is made on first use, not when the module is loaded. The environment variable ORIDAN_INSTRUCTION_SET
/// (baseline, avx2, avx512), read once, lowers it.
namespace numerics {

enum class InstructionSet {
    baseline, ///< what every x86-64 processor has
    avx2,     ///< AVX2 and FMA
    avx512    ///< AVX-512 F, DQ, BW and VL
};

/// The best that the processor and the system offer and the environment allows.
InstructionSet instruction_set();

/// What instruction_set() chooses where the environment variable has this value; null: it is not set.
InstructionSet instruction_set_within(const char* limit);

const char* name_of(InstructionSet set);

} // namespace numerics
