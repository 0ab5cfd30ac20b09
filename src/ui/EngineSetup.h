#pragma once

class QQmlEngine;

// What every engine that shows Tolvane's QML is given, once it has loaded
// its first file (a QQmlApplicationEngine sets up its file selector only
// then) and before a card is scanned: the clip list's thumbnail images (see
// ThumbnailImages), and no file selection. Tolvane's QML has no variants per platform or language, and a
// selector would look each image's URL up again, variant by variant, every
// time an item showing it is built, which a list of rows does often.
void setUpEngine(QQmlEngine& engine);
