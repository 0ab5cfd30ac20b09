#include "ui/HelpTexts.h"

#include "base/Platform.h"

namespace HelpTexts {

Guide howToUse(const PlatformFacts& platform)
{
    return Guide{
        QStringLiteral("How to Use Tolvane"),
        QStringLiteral("Convert Panasonic HPX/P2 card footage to ProRes MOV"),
        {
            {QStringLiteral("1. Drop your P2 card"),
             QStringLiteral(
                 "Drag the card's root folder (or its CONTENTS folder) onto the drop zone, or click "
                 "\"Choose Folder…\". Tolvane looks for VIDEO, AUDIO, and CLIP subfolders.")},
            {QStringLiteral("2. Check the output folder"),
             QStringLiteral(
                 "The Output Folder step shows where converted files will go — a dated folder (e.g. "
                 "07-01-2026) inside your chosen drive. Click \"Change…\" to pick a different drive or "
                 "folder; it's remembered for next time.")},
            {QStringLiteral("3. Convert"),
             QStringLiteral(
                 "Click Convert. Clips are paired video-to-audio using CLIP XML metadata (the same UMID "
                 "mechanism Premiere uses), converted to ProRes with ffmpeg, and named in true shooting "
                 "order — not alphabetical filename order.")},
            {QStringLiteral("Verifying pairing before converting"),
             QStringLiteral(
                 "Open \"Advanced Details\" under the card status to see per-clip pairing method, or "
                 "use \"View Pairing Details…\" / \"Export Pairing Report Only…\" to check everything "
                 "before committing to a full conversion.")},
            {QStringLiteral("When it's done"),
             QStringLiteral(
                 "A clean run shows just the clip count and output folder, with \"%1\" and \"Convert "
                 "Another P2 Card\" buttons. If anything needs attention, \"Advanced Details\" expands "
                 "automatically with full logs.")
                 .arg(platform.revealInFileManagerTitle)},
        },
    };
}

Guide troubleshooting(const PlatformFacts& platform)
{
    return Guide{
        QStringLiteral("Troubleshooting"),
        QStringLiteral("Common issues and how to resolve them"),
        {
            {QStringLiteral("\"ffmpeg not found\""),
             QStringLiteral(
                 "Tolvane needs ffmpeg and ffprobe installed via %1. Open %2 and run: %3 — then use "
                 "Help > Check FFmpeg Install to confirm, no relaunch needed.")
                 .arg(platform.packageManagerName, platform.terminalName, platform.ffmpegInstallCommand)},
            {QStringLiteral("\"No video MXF files were found\""),
             QStringLiteral(
                 "Make sure you selected the P2 card's root folder or its CONTENTS folder — the one "
                 "containing VIDEO, AUDIO, and CLIP subfolders, not a folder further inside or outside "
                 "that structure.")},
            {QStringLiteral("Clips excluded from conversion"),
             QStringLiteral(
                 "By default, a clip only converts once its audio is verified against CLIP XML metadata "
                 "(by UMID) — the same method Premiere uses. Unverified clips are excluded rather than "
                 "guessed. Check \"View Pairing Details\" to see why, or enable \"Allow unsafe fallback "
                 "pairing\" in Settings to include them anyway (clearly marked unsafe).")},
            {QStringLiteral("Audio seems out of sync"),
             QStringLiteral(
                 "The default \"Auto\" audio sync mode applies zero offset — verified correct against "
                 "real P2 media's own packet timestamps. If a specific camera/deck genuinely needs an "
                 "offset, switch Settings > Audio Sync Mode to Manual and adjust the slider.")},
            {QStringLiteral("Clips are in the wrong order"),
             QStringLiteral(
                 "Output filenames are numbered by shoot order (001.mov, 002.mov, …) using CLIP XML "
                 "recording date/time, with fallbacks to timecode and the file's embedded date. If order "
                 "still looks wrong, check DEBUG_REPORT.txt's \"Sort key used\" field for each clip.")},
            {QStringLiteral("Where are the logs?"),
             QStringLiteral(
                 "Every conversion writes CONVERSION_REPORT.txt, PAIRING_REPORT.txt, DEBUG_REPORT.txt, "
                 "and (if anything failed) FFMPEG_ERRORS.txt into that run's output folder. Use Help > "
                 "Open Logs Folder, or expand \"Advanced Details\" on the summary screen.")},
        },
    };
}

QString versionLine(const QString& version, const QString& buildNumber)
{
    if (version.isEmpty())
        return QStringLiteral("Version unknown");
    if (buildNumber.isEmpty())
        return QStringLiteral("Version %1").arg(version);
    return QStringLiteral("Version %1 (%2)").arg(version, buildNumber);
}

QString aboutDescription(const PlatformFacts& platform)
{
    return QStringLiteral(
               "Converts Panasonic HPX170 / P2 card footage into %1, high-quality Apple ProRes .mov "
               "files — without Premiere, Media Encoder, or %2.")
        .arg(platform.readableByEditors, platform.terminalName);
}

QString aboutNote()
{
    return QStringLiteral(
        "Video/audio pairing is verified against Panasonic CLIP XML metadata by UMID — the same "
        "mechanism Adobe Premiere Pro uses — so clips never get the wrong audio by guesswork.");
}

} // namespace HelpTexts
