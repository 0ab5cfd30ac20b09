#pragma once

// The look the app and its interface tests share, set before the application
// object exists: the Fusion style, standard icon names resolved through Breeze
// where the desktop's theme lacks them, and the app's own icons beside them.
void applyAppStyle();
