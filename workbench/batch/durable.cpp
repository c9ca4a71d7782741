#include "workbench/batch/durable.h"

#include <fcntl.h>
#include <unistd.h>

namespace workbench {

void put_on_disk(const std::filesystem::path& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

} // namespace workbench
