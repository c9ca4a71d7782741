#include "fileio/save_target.h"

#include "fileio/paths.h"

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
    return is_there(view->fileName) ? is_same_file(view->fileName, target) : is_there(target);
}

} // namespace fileio
