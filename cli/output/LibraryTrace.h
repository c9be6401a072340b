#pragma once

namespace varnockctl {

/// The library traces to the stream `stderr` as soon as it is loaded. That would clutter the output
/// of commands, so the program replaces the stream before the library starts and keeps the text.
/// This function prints the kept text and passes later text through.
void showLibraryTrace();

}  // namespace varnockctl
