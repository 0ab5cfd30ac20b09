#include "ui/EngineSetup.h"

#include "ui/ThumbnailImages.h"

#include <QQmlAbstractUrlInterceptor>
#include <QQmlEngine>

void setUpEngine(QQmlEngine& engine)
{
    const QString provider = QLatin1StringView(ThumbnailImages::providerId);
    if (!engine.imageProvider(provider))
        engine.addImageProvider(provider, new ThumbnailImages);
    // The only interceptor an engine comes with is its file selector.
    for (QQmlAbstractUrlInterceptor* const interceptor : engine.urlInterceptors())
        engine.removeUrlInterceptor(interceptor);
}
