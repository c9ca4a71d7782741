// Allocations that are too large must fail as they do without a sanitizer, so that their messages can be tested.
// The sanitizer's runtime library looks the function up by name.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
