#include "run/CliDescription.h"

using namespace Qt::StringLiterals;

namespace CliDescription {

// To add an option, add a line to its command's `options`; to add a command,
// add an entry here. Each paragraph keeps the line breaks `--help` shows.
QList<Command> commands(const QString& defaultOutputFolder)
{
    return {
        {
            .name = u"convert"_s,
            .operands = {u"CARD"_s},
            .options =
                {
                    {.name = u"output-folder"_s, .value = Value::folder, .valueName = u"DIR"_s},
                    {.name = u"profile"_s,
                     .value = Value::choice,
                     .choices = {u"proxy"_s, u"standard"_s, u"hq"_s}},
                    {.name = u"allow-unsafe-fallback"_s},
                    {.name = u"join-spanned"_s},
                    {.name = u"clip-metadata"_s},
                    {.name = u"allow-sleep"_s},
                    {.name = u"ignore-free-space"_s},
                    {.name = u"clip"_s, .value = Value::text, .valueName = u"NAME"_s, .repeatable = true},
                    {.name = u"json"_s},
                },
            .paragraphs =
                {
                    u"Scan and pair the card folder CARD as scan does, then convert\n"
                    "every clip into a dated folder (MM-dd-yyyy) below the output\n"
                    "folder, with the movies and CONVERSION_REPORT.txt,\n"
                    "PAIRING_REPORT.txt, DEBUG_REPORT.txt and, when a clip\n"
                    "failed, FFMPEG_ERRORS.txt. The output folder is the one\n"
                    "chosen in the app; until one is chosen it is\n"_s +
                        defaultOutputFolder + u"."_s,
                    u"The stored settings apply; the options override them for\n"
                    "this run only and are never saved."_s,
                    u"The run enters the history and the recent folders."_s,
                    u"--join-spanned makes each shot the camera split across\n"
                    "several clips one movie, where every piece is on the card,\n"
                    "verified and consistent; the scan line says how many."_s,
                    u"--clip-metadata writes into each movie its clip's name as the\n"
                    "reel name of its timecode track and, from the CLIP XML, its\n"
                    "recording date and time, user clip name, camera, shooter,\n"
                    "scene, take, memo and material package UMID."_s,
                    u"While it converts, the computer does not suspend or idle\n"
                    "into sleep (DEBUG_REPORT.txt says so when the desktop could\n"
                    "not hold sleep off); --allow-sleep lets it."_s,
                    u"Prints a line per clip as it ends (on a terminal also a live\n"
                    "progress line), then the closing status sentence and, last,\n"
                    "the output folder. Ctrl-C, SIGTERM and a hang-up cancel like the\n"
                    "Cancel button: the running clip ends as Cancelled, the clips\n"
                    "not reached are listed as not started, and the reports and\n"
                    "the history entry are written; a second Ctrl-C stops at once."_s,
                    u"Before the first clip the space the movies need is estimated;\n"
                    "a run that cannot fit is refused unless --ignore-free-space\n"
                    "is given. A clip that fails for lack of space, or a card\n"
                    "folder that disappears, ends the run there."_s,
                    u"--clip NAME (repeatable) converts only the clips so named, as\n"
                    "scan shows them; the others are reported as not chosen and\n"
                    "keep their numbers. Such runs share today's dated folder, so\n"
                    "single clips converted in parallel give the files of one run."_s,
                    u"--json prints, in place of the lines, a JSON summary: per\n"
                    "clip its status, output file and failure reason."_s,
                    u"Put -- before a CARD whose name starts with a dash."_s,
                    u"Exit status: 0 when no clip failed, 1 when a clip failed,\n"
                    "a report could not be written, the run was cancelled or no\n"
                    "clip could be converted, 2 on a usage error, when the folder\n"
                    "holds no video MXF file, when ffmpeg is missing, the output\n"
                    "folder cannot be created or lacks the space, 130 after a\n"
                    "second Ctrl-C."_s,
                },
        },
        {
            .name = u"scan"_s,
            .operands = {u"CARD"_s},
            .options =
                {
                    {.name = u"allow-unsafe-fallback"_s},
                    {.name = u"timings"_s},
                    {.name = u"json"_s},
                },
            .paragraphs =
                {
                    u"Scan the card folder CARD (the card root or its CONTENTS\n"
                    "folder), pair each video with its audio by UMID and print\n"
                    "the pairing report as PAIRING_REPORT.txt would hold it."_s,
                    u"Nothing is converted; the card is only read."_s,
                    u"With --allow-unsafe-fallback, clips that cannot be verified\n"
                    "are paired by file name, then by sort order, marked UNSAFE."_s,
                    u"On a terminal, a line on standard error counts the files\n"
                    "whose UMID has been read."_s,
                    u"With --timings, standard error tells how long each stage\n"
                    "took, how many files were read natively and how many\n"
                    "facts fell back to ffprobe."_s,
                    u"With --json, standard output is a JSON document of the card\n"
                    "and every clip (as the app's clip list shows it, excluded\n"
                    "clips with their reason) in place of the report."_s,
                    u"Put -- before a CARD whose name starts with a dash."_s,
                    u"Exit status: 0 when at least one clip would be converted,\n"
                    "1 when none would, 2 on a usage error or when the folder\n"
                    "holds no video MXF file."_s,
                },
        },
        {
            .name = u"debug-report"_s,
            .operands = {u"CARD"_s},
            .options =
                {
                    {.name = u"output"_s, .value = Value::file, .valueName = u"FILE"_s},
                },
            .paragraphs =
                {
                    u"Scan and pair the card folder CARD as scan does, then\n"
                    "build its debug report (what ffprobe sees in every file,\n"
                    "the pairing, the audio levels and the exact ffmpeg\n"
                    "command of each clip) with the stored settings: audio\n"
                    "offset, ProRes profile, numbering, unsafe fallback,\n"
                    "joining of spanned shots."_s,
                    u"Nothing is converted; the card is only read."_s,
                    u"The report is printed, or with --output written to FILE."_s,
                    u"Put -- before a CARD whose name starts with a dash."_s,
                    u"Exit status: 0 when the report was produced, 1 when it\n"
                    "could not be written, 2 on a usage error, when the\n"
                    "folder holds no video MXF file or ffmpeg is missing."_s,
                },
        },
        {
            .name = u"backup"_s,
            .operands = {u"CARD"_s, u"DEST"_s, u"[DEST…]"_s},
            .paragraphs =
                {
                    u"Copy the whole card folder CARD (its root, or its CONTENTS folder)\n"
                    "into DEST/CARDNAME for each destination: every file, hidden ones\n"
                    "included, read once from the card and written to every\n"
                    "destination, flushed to disk under a temporary name and then\n"
                    "renamed, with its modification time kept. Every copy is then\n"
                    "read back from the disk and its XXH64 checksum compared with the\n"
                    "card's. Each copy gets an ASC MHL history: DEST/CARDNAME/ascmhl\n"
                    "with a manifest of every file's size, date and checksum and\n"
                    "ascmhl_chain.xml. Before the first byte, each destination must\n"
                    "have room for the card; a file already there that matches the\n"
                    "card's is proven and not copied again, so running the same backup\n"
                    "after an interruption completes it; one that differs is never\n"
                    "overwritten: the backup stops and names it. The card is only read."_s,
                    u"On a terminal a live line shows bytes, speed and time remaining.\n"
                    "Ctrl-C or SIGTERM stops it without leaving any incomplete file;\n"
                    "a second Ctrl-C stops at once, after removing the temporary files."_s,
                    u"Put -- before a folder whose name starts with a dash."_s,
                    u"Exit status: 0 when every copy is proven, 1 when a copy does not\n"
                    "match (it is kept for inspection), a file is in the way, a file\n"
                    "could not be copied or the backup was cancelled, 2 on a usage\n"
                    "error, a missing folder or too little room."_s,
                },
        },
        {
            .name = u"verify-backup"_s,
            .operands = {u"COPY"_s},
            .paragraphs =
                {
                    u"Read every file of COPY (a DEST/CARDNAME folder made by\n"
                    "backup) back from the disk and compare its XXH64 checksum\n"
                    "with the one its ASC MHL history holds, then add the next\n"
                    "generation to the history (ascmhl/0002_…), each file marked\n"
                    "verified or failed. Prints a line for every file that\n"
                    "failed, is missing or is new, then the manifest written."_s,
                    u"Exit status: 0 when every file is verified, 1 when a file\n"
                    "failed, is missing or is new, or on Ctrl-C, 2 on a usage\n"
                    "error or a folder without a readable history."_s,
                },
        },
        {
            .name = u"history"_s,
            .options =
                {
                    {.name = u"clear"_s},
                    {.name = u"json"_s},
                },
            .exclusiveOptions = true,
            .paragraphs =
                {
                    u"List the recent conversions, newest first, as the app's\n"
                    "history shows them: card, date, output folder, what\n"
                    "became of its clips and, for a run that began with a\n"
                    "backup, whether it was proven and where the copies are\n"
                    "(⚠ marks a run that failed or excluded clips, or whose\n"
                    "backup was not proven)."_s,
                    u"With --clear, empty the history; with --json, print the\n"
                    "stored history document as it is kept."_s,
                    u"Exit status: 0 when done, 1 when the emptied history could\n"
                    "not be saved, 2 on a usage error."_s,
                },
        },
    };
}

Command command(const QString& name, const QString& defaultOutputFolder)
{
    for (Command& each : commands(defaultOutputFolder))
        if (each.name == name)
            return each;
    qFatal("tolvane-cli has no command %s", qPrintable(name));
}

QList<GeneralOption> generalOptions()
{
    return {
        {u"help"_s, u"Show this text."_s},
        {u"version"_s, u"Show the version."_s},
    };
}

QString summary()
{
    return u"Turns a Panasonic P2 card into one Apple ProRes .mov per clip, without a window."_s;
}

QString typed(const Option& option)
{
    return u"--"_s + option.name;
}

} // namespace CliDescription
