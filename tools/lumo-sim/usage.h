#pragma once

namespace LumoSim {

// The --help text: command line, script commands and output lines.
const char* UsageText();

}  // namespace LumoSim
