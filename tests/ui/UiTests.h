#pragma once

// Entry points of the interface's test classes, all run by tst_ui.
int runPresenterTests(int argc, char* argv[]);
int runWindowTests(int argc, char* argv[]);
int runSheetPresentersTests(int argc, char* argv[]);
int runSheetsWindowTests(int argc, char* argv[]);
int runDesktopSessionTests(int argc, char* argv[]);
int runClipListTests(int argc, char* argv[]);
