#pragma once

struct Options;

/// What `quorvia --export` does: draws the board of a meeting file, without a display. Returns the exit code;
/// what goes wrong is said on standard error.
int ExportMeetingFile(const Options& options, int argc, char** argv);
