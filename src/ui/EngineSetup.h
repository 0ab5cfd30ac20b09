#pragma once

class QQmlEngine;

// What every engine that shows Tolvane's QML is given before it loads any:
// the clip list's thumbnail images (see ThumbnailImages), and no file
// selection. Tolvane's QML has no variants per platform or language, and a
// selector would look each image's URL up again, variant by variant, every
// time an item showing it is built, which a list of rows does often.
void setUpEngine(QQmlEngine& engine);
