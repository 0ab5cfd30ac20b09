#include "SyntheticCard.h"

#include <cstdio>
#include <QCoreApplication>

// Writes a small synthetic P2 card into the folder given, for checks that run
// outside the test suite (scripts/test-package): two clips of a few frames,
// each with two audio channels.
int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "Usage: make_synthetic_card FOLDER\n");
        return 2;
    }
    SyntheticCard::CardSpec card;
    for (const char* name : {"0001AB", "0002AB"}) {
        SyntheticCard::ClipSpec clip;
        clip.clipName = QString::fromLatin1(name);
        clip.audioCount = 2;
        card.clips.push_back(clip);
    }
    try {
        SyntheticCard::write(card, QString::fromLocal8Bit(argv[1]));
    } catch (const SyntheticCard::Error& error) {
        std::fprintf(stderr, "make_synthetic_card: %s\n", error.what());
        return 1;
    }
    return 0;
}
