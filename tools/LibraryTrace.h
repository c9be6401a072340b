#pragma once

namespace varnock {

/// The library traces to the stream `stderr` as soon as it is loaded. That would clutter the output
/// of commands, and a terminal would interpret its control characters. So a program that uses this
/// file replaces the stream before the library starts, and keeps the text. This function prints the
/// kept text and passes later text through, both with escaped control characters.
void showLibraryTrace();

}  // namespace varnock
