#pragma once

// Each test class of the media area runs from one executable.
int runParsersTests(int argc, char** argv);
int runDiscoveryTests(int argc, char** argv);
int runFakeToolsTests(int argc, char** argv);
int runRealToolsTests(int argc, char** argv);
int runPictureCodingRealToolsTests(int argc, char** argv);
int runMXFHeaderReaderTests(int argc, char** argv);
int runMXFCrossCheckTests(int argc, char** argv);
int runProbeCacheTests(int argc, char** argv);
