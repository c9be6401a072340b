#pragma once

namespace varnockctl {

/// The library traces to the stream `stderr`, from its load on. A person who asks for one number
/// does not want to read that, so the program takes the stream away before the library starts and
/// keeps the text. This passes it through from now on, with what was kept so far first.
void showLibraryTrace();

}  // namespace varnockctl
