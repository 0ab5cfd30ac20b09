#pragma once

int runHashingTests(int argc, char* argv[]);
int runBackupEngineTests(int argc, char* argv[]);
int runFileCopierTests(int argc, char* argv[]);
