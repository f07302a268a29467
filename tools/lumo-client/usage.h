// lumo-client's --help text.
#pragma once

namespace LumoClient {

const char* UsageText();

}  // namespace LumoClient
