#include "MediaTestSupport.h"

#include <QTest>

QCoro::Task<ConvertOutcome> convertCatching(FFmpegService* service, ConvertRequest request)
{
    ConvertOutcome outcome;
    try {
        outcome.sourceSeconds = co_await service->convert(
            request.video, request.audio, request.offset, request.profile, request.output,
            [&outcome](const QString& command) { outcome.commands.append(command); },
            [&outcome](double fraction) { outcome.progress.append(fraction); });
        outcome.succeeded = true;
    } catch (const FFmpegError& error) {
        outcome.errorKind = error.kind();
        outcome.message = error.description();
    } catch (const PlatformError& error) {
        outcome.platformError = true;
        outcome.message = error.description();
    }
    co_return outcome;
}

ConvertOutcome convertAndWait(FFmpegService& service, const ConvertRequest& request)
{
    return QCoro::waitFor(convertCatching(&service, request));
}
