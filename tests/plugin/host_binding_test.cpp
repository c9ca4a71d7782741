// Linked once per workbench variant: missingHostFunction is the name that this process does not export, or "".

#include "plugin/host_binding.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdint>
#include <cstring>

#include "plugin/oridan_plugin.h"

extern const char* const missingHostFunction;

namespace {

using Address = std::uintptr_t;

bool is_missing(const char* name) {
    return std::strcmp(name, missingHostFunction) == 0;
}

// What the process itself says of a name.
Address exported(const char* name) {
    return reinterpret_cast<Address>(dlsym(RTLD_DEFAULT, name));
}

// A pointer that no lookup gives, to see what is overwritten and what is not.
constexpr Address leftover = 0x1234;

template <class Function>
void set_leftover(Function& function) {
    function = reinterpret_cast<Function>(leftover);
}

template <class Function>
Address address_of(Function function) {
    return reinterpret_cast<Address>(function);
}

void set_leftovers() {
#define HOST_FUNCTION(name) set_leftover(host::name);
#include "plugin/host_functions.def"
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_f)
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_d)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_f)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_d)
#undef HOST_FUNCTION
}

} // namespace

TEST(Host, ExportsEveryNameButTheMissingOne) {
#define HOST_FUNCTION(name) EXPECT_EQ(exported(#name) == 0, is_missing(#name)) << #name;
#include "plugin/host_functions.def"
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_f)
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_d)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_f)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_d)
#undef HOST_FUNCTION
    EXPECT_NE(exported("nvMessageBox"), exported("nvShowLogTab"));
}

TEST(InitPlugin, BindsNothing) {
    set_leftovers();
    OridanArtifactRemovalPlugin plugin;
    EXPECT_TRUE(plugin.initPlugin());
#define HOST_FUNCTION(name) EXPECT_EQ(address_of(host::name), leftover) << #name;
#include "plugin/host_functions.def"
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_f)
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_d)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_f)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_d)
#undef HOST_FUNCTION
}

TEST(InitNVAccess, BindsWhatTheWorkbenchHasAndNeedsTheVersionOnly) {
    set_leftovers();
    if (is_missing("nvGetVersionOfNivora")) {
        EXPECT_FALSE(InitNVAccess());
        EXPECT_EQ(host::nvGetVersionOfNivora, nullptr);
        EXPECT_EQ(address_of(host::nvGetNivoraPath), leftover) << "the later names are not looked up";
        EXPECT_EQ(address_of(host::nvLogText), leftover);
        EXPECT_EQ(address_of(host::nvLaunchICADialog), leftover);
        return;
    }
    EXPECT_TRUE(InitNVAccess());
#define HOST_FUNCTION(name) EXPECT_EQ(address_of(host::name), exported(#name)) << #name;
#include "plugin/host_functions.def"
#undef HOST_FUNCTION
    EXPECT_EQ(address_of(host::nv_intel_matrix_matrix_mult_d), leftover) << "the products are bound apart";
}

TEST(InitNVAccess, BindsAnewOnEveryCall) {
    const bool bound = !is_missing("nvGetVersionOfNivora");
    EXPECT_EQ(InitNVAccess(), bound);
    set_leftovers();
    EXPECT_EQ(InitNVAccess(), bound);
    EXPECT_EQ(address_of(host::nvGetVersionOfNivora), exported("nvGetVersionOfNivora"));
    if (bound) {
        EXPECT_EQ(address_of(host::nvLaunchICADialog), exported("nvLaunchICADialog"));
    }
}

TEST(InitMKLCBLASAccess, StopsAtTheFirstProductThatIsMissing) {
    set_leftovers();
    bool complete = true;
#define HOST_FUNCTION(name) complete = complete && !is_missing(#name);
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_f)
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_d)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_f)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_d)
#undef HOST_FUNCTION
    EXPECT_EQ(InitMKLCBLASAccess(), complete);

    bool stopped = false; // after the missing one the others keep what they held
#define HOST_FUNCTION(name)                                                                                            \
    EXPECT_EQ(address_of(host::name), stopped ? leftover : exported(#name)) << #name;                                  \
    stopped = stopped || is_missing(#name);
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_f)
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_d)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_f)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_d)
#undef HOST_FUNCTION
    EXPECT_EQ(address_of(host::nvLogText), leftover) << "the general functions are bound apart";
}
