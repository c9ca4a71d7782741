#include "fileio/save_target.h"

#include "fileio/paths.h"
#include "fileio/view_stream.h"

namespace fileio {

bool open_any_target(SaveTarget& target, const char* fileName) {
    target.stream.rdbuf()->pubsetbuf(target.buffer, sizeof target.buffer);
    target.stream.open(fileName, std::ios::out | std::ios::binary | std::ios::trunc);
    return target.stream.is_open();
}

bool open_target(SaveTarget& target, const char* fileName) {
    return !is_pipe(fileName) && open_any_target(target, fileName);
}

bool may_be_backing_file(const transio_struct* view, const char* target) {
    const std::optional<FileIdentity> existing = regular_file(target);
    const auto* stream = dynamic_cast<const ViewStream*>(view->stream);
    const bool known = stream != nullptr && stream->file.has_value();
    return existing.has_value() && (!known || stream->file == existing);
}

} // namespace fileio
