#pragma once

namespace desktop {

// The form as screen readers see it, where Qt can't know on its own: a list has
// its rows as children, a frame is a group, an option one of several. Names and
// descriptions are set by the window, from labels and tooltips. To be called once.
void TeachAccessibility();

}  // namespace desktop
