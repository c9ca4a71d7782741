// Reads any bytes as a protocol file and as a table of triggers. What is accepted must survive being written and read.

#include "fuzz/scratch_file.h"
#include "workbench/input_error.h"
#include "workbench/protocol_file.h"
#include "workbench/trigger_table.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::write_scratch("in.prt", {reinterpret_cast<const char*>(data), size});
    try {
        const workbench::Protocol protocol = workbench::read_protocol(path);
        const std::string text = workbench::protocol_text(protocol);
        const workbench::Protocol again = workbench::read_protocol(fuzz::write_scratch("out.prt", text));
        fuzz::require(workbench::protocol_text(again) == text, "a protocol survives being written and read");
    } catch (const workbench::InputError&) {
    }
    try {
        workbench::protocol_from_csv(path, "experiment");
    } catch (const workbench::InputError&) {
    }
    return 0;
}
