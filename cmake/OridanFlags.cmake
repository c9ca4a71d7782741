# Flags that every target shares. Arithmetic is a contract here: no contraction of a*b+c into one
# rounding, no fast-math, whatever else a build adds.
add_library(oridan_flags INTERFACE)
target_compile_features(oridan_flags INTERFACE cxx_std_20)
target_compile_options(oridan_flags INTERFACE -ffp-contract=off -fvisibility=hidden -fvisibility-inlines-hidden)
target_include_directories(oridan_flags INTERFACE "${CMAKE_SOURCE_DIR}")

option(ORIDAN_WERROR "Treat warnings as errors" OFF)

# Code and tests that count addresses or memory do without it where the address sanitizer takes most of both.
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=[a-z,-]*address")
  target_compile_definitions(oridan_flags INTERFACE ORIDAN_UNDER_ASAN)
endif()

# Warnings for our own code. Tests use it without the conversion checks, which fire inside test macros.
add_library(oridan_warnings INTERFACE)
target_compile_options(oridan_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow
                                                 $<$<BOOL:${ORIDAN_WERROR}>:-Werror>)

add_library(oridan_strict INTERFACE)
target_link_libraries(oridan_strict INTERFACE oridan_flags oridan_warnings)
target_compile_options(oridan_strict INTERFACE -Wconversion -Wdouble-promotion -Wfloat-conversion)

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# What computes, in builds of type Debug (the sanitizers' among them): their tests would take minutes without.
set(oridan_always_optimised $<$<CONFIG:Debug>:-Og>)

# One folder of the module: an OBJECT library named oridan_<folder>, linked into the module, into the
# workbench's file tools and into the tests that look inside.
function(oridan_folder name)
  add_library(oridan_${name} OBJECT ${ARGN})
  target_link_libraries(oridan_${name} PRIVATE oridan_strict)
  target_compile_options(oridan_${name} PRIVATE -fno-semantic-interposition ${oridan_always_optimised})
  set_target_properties(oridan_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
endfunction()

# Sources that are compiled for one instruction set, chosen when they are first used (numerics/cpu.h). They hold builtins
# and functions of their own only: nothing that the linker could share with code for other processors.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  set(ORIDAN_X86_KERNELS ON)
  target_compile_definitions(oridan_flags INTERFACE ORIDAN_X86_KERNELS)
endif()
set(oridan_avx2_options -mavx2 -mfma -mbmi -mbmi2 -fno-math-errno)
set(oridan_avx512_options ${oridan_avx2_options} -mavx512f -mavx512dq -mavx512bw -mavx512vl -mprefer-vector-width=512)
function(oridan_kernels set)
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${oridan_${set}_options}")
endfunction()

# Programs that read files of others: what follows in the folder is compiled with the checks that distributions use. The
# module stays as it is: its arithmetic has no buffers that a file could name the size of, and its speed counts.
include(CheckPIESupported)
check_pie_supported()
macro(oridan_hardened)
  add_compile_options($<$<CONFIG:Release>:-fstack-protector-strong> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
  add_link_options(LINKER:-z,relro LINKER:-z,now)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endmacro()
