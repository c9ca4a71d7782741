#pragma once

#include <optional>
#include <string>

#include "plugin/host_records.h"

/// The workbench as a run sees it: thin names over the bound functions. A function that the workbench does not have
/// does nothing and answers 0.
namespace obs {

void log_line(const char* text);
void message_box(const char* text);
void show_log_tab();
void show_busy_cursor();
void stop_busy_cursor();
void update_window();

bool has_volume_document();

/// @return the chosen path, at most 255 bytes of it; nothing when none was chosen.
std::optional<std::string> ask_open_file(const char* title, const char* filter);

/// @return the number entered, whatever it is.
int ask_integer(const char* prompt, int defaultValue, int minValue, int maxValue);

void load_protocol(const std::string& path);

/// @return false when no protocol is applied. The record is zeroed first.
bool get_protocol(ProtocolStruct* protocol);

/// @param index  0-based. The record is zeroed first; a negative interval count is made 0.
void get_protocol_condition(int index, ProtocolConditionStruct* condition);

} // namespace obs
