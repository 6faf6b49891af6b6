#pragma once

namespace desktop {

// Lists and frames as screen readers see them: a list has its rows in view as
// children, a frame is a group. To be called once.
void TeachAccessibility();

}  // namespace desktop
