#pragma once

#include <cstddef>
#include <string>

/// Texts of a run.
namespace obs {

/// The text of a record's field: up to its NUL, or the whole field when it has none.
std::string field_text(const char* field, std::size_t fieldSize);

/// printf formatting of a text without any arguments: "%%" becomes "%", any other conversion is formatted as if its
/// missing argument were 0 ("R%d" gives "R0"), %s gives nothing and %n gives nothing. A conversion that is not
/// known stays as it stands. Decimal points are points whatever the locale. The result is what a C string would hold:
/// it ends at a NUL, which %c produces.
/// @param capacity  bytes of the buffer that the text is meant for: at most capacity - 1 are returned.
std::string formatted_without_arguments(const std::string& format, std::size_t capacity);

} // namespace obs
