#pragma once

#include <filesystem>

namespace workbench::exchange {

/// The other side of BiosigRecording, in a process of its own: opens a file with libbiosig, sends what it holds, and
/// then answers requests for samples until the pipe is closed. Never returns.
///
/// It sends: why the file cannot be read (a text; not empty ends it); the format (a text); channels (their number, and
/// of each name, unit, rate, samples and why it cannot be used); events (their number, and of each seconds and type).
/// A request is a number of channels and them, the first sample and the number of samples; the answer is a text, empty
/// where the samples follow: doubles, channel after channel.
[[noreturn]] void serve_biosig_file(const std::filesystem::path& file, int requests, int answers);

} // namespace workbench::exchange
