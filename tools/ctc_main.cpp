// ctc: looks into recordings (CTC files), converts and cuts them.

#include "tools/ctc_convert.h"
#include "tools/ctc_cut.h"
#include "tools/ctc_dump.h"
#include "tools/ctc_info.h"
#include "workbench/cli11.h"
#include "workbench/program.h"

int main(int argc, char** argv) {
    CLI::App app("Looks into recordings (CTC files), converts and cuts them. Recordings are never changed.", "ctc");
    app.require_subcommand(1);
    tools::add_info_command(app);
    tools::add_convert_command(app);
    tools::add_cut_command(app);
    tools::add_dump_command(app);
    return workbench::run_program(app, argc, argv);
}
