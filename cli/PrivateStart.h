#pragma once

namespace varnockctl {

/// Gives the environment back that this program was started with. To be called first of all.
void giveEnvironmentBack();

}  // namespace varnockctl
