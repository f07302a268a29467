// The helper's one command-line switch.
#pragma once

// Debug mode ("-d"): the helper runs on when the plug-in's channel does not exist. On
// exactly when the first argument is the two characters "-d"; nothing else is read.
bool IsDebugModeRequested(int argc, const char* const* argv);
