#pragma once

// The look the app and its interface tests share, set once the application
// object exists and before any QML loads: the Fusion style, standard icon
// names resolved through Breeze where the desktop's theme lacks them (or where
// there is no desktop theme at all), and the app's own icons beside them.
void applyAppStyle();
