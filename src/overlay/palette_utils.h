#pragma once

/// The palette of the overlay service.
namespace PaletteUtils {

/// Sets the colours that overlays are drawn with: 0 and 5 transparent, 1 and 4 translucent red. A
/// failure is logged, leaves what is set so far, and gives false. Blocks on the service.
bool setCustomPaletteValues();

}  // namespace PaletteUtils
