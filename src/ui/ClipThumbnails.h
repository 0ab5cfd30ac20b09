#pragma once

#include <functional>
#include <memory>
#include <QCoroTask>
#include <QList>
#include <QString>
#include <vector>

// The thumbnails of a card's clips for the clip list: the small bitmap a P2
// camera writes per clip into CONTENTS/ICON when there is one, otherwise one
// frame ffmpeg takes a tenth into the clip. Frames are taken at the tools' low
// priority, at most two at a time for the whole program: the window's lists
// share one queue, so a list that takes over from another never adds frames of
// its own to those still being taken. Frames are remembered for the session
// while the video file is unchanged. Every file look-up happens on a worker
// thread.
class ClipThumbnails
{
public:
    struct Request
    {
        QString key;
        // The clip's video file; empty when there is none to take a frame from.
        QString videoURL;
        // The clip's name, as its ICON bitmap is named.
        QString name;
        std::optional<double> durationSeconds;
    };
    // Called on the GUI thread with a file URL for the image of `key`.
    using Ready = std::function<void(const QString& key, const QString& imageURL)>;

    static constexpr int maxRunning = 2;
    // The height frames are scaled to: the list row's thumbnail at twice its size.
    static constexpr int frameHeight = 108;

    explicit ClipThumbnails(Ready ready);
    // Stops handing out images; frames being taken finish on their own.
    ~ClipThumbnails();
    ClipThumbnails(const ClipThumbnails&) = delete;
    ClipThumbnails& operator=(const ClipThumbnails&) = delete;

    // Drops what this object asked before and did not start, and loads these
    // in order after the frames other objects are waiting for; `iconFolder` is
    // the card's ICON folder, empty when it has none.
    void request(const QString& iconFolder, QList<Request> requests);

    // Where the frame a tenth into a clip of `durationSeconds` is taken.
    static double frameSeconds(std::optional<double> durationSeconds);

    // How many frames are being taken now, for every object together; a
    // frame asked for by an object since gone still finishes.
    static int framesInProgress();

private:
    struct State;
    struct Frame;
    struct Frames;

    // The program's one queue of frames to take.
    static Frames& frames();
    void dropWaitingFrames();
    static QCoro::Task<> load(std::shared_ptr<State> state, int generation, QString iconFolder,
                              QList<Request> requests);
    static QCoro::Task<> takeFrames();

    // Shared with the work under way, which outlives the object when it must.
    std::shared_ptr<State> m_state;
    // Each request's load, which awaits its workers; dropped ones end on their own.
    std::vector<QCoro::Task<>> m_loads;
};
