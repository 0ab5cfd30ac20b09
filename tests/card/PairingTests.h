#pragma once

// Each test class of pairing, shoot order and the pairing report runs from one executable.
int runShootOrderTests(int argc, char** argv);
int runPairingReportTests(int argc, char** argv);
int runPairingTests(int argc, char** argv);
int runPairingCardReportTests(int argc, char** argv);
