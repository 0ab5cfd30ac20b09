#pragma once

// Each test class of the card area runs from one executable.
int runFileNameOrderTests(int argc, char** argv);
int runScannerTests(int argc, char** argv);
int runFolderWatchTests(int argc, char** argv);
int runClipModelTests(int argc, char** argv);
int runMetadataParserTests(int argc, char** argv);
int runSyntheticCardScanTests(int argc, char** argv);
int runSpannedShotTests(int argc, char** argv);
