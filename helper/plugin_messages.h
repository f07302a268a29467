// The channel between the helper and the plug-in that starts it: the two channel names,
// the message codes and the texts of the error message.
#pragma once

#include <cstdint>

// The helper creates this channel and receives on it.
inline constexpr char kHelperChannelName[] = "LumoDiscoveryPluginHelper";
// The plug-in creates this channel; the helper sends to it.
inline constexpr char kPluginChannelName[] = "LumoDiscoveryPluginIpcChannel";

enum PluginMessage : std::uint32_t {
    PluginMsgHeartbeat = 1001,  // helper to plug-in, no data, every beat
    PluginMsgExit = 1002,       // plug-in to helper: end; helper to plug-in: console closed
    PluginMsgError = 1100,      // helper to plug-in: zero-terminated text, just before it ends
};

// The texts that PluginMsgError carries.
inline constexpr char kReadFailedText[] = "Failed to read own IPC channel.";
inline constexpr char kWaitFailedText[] = "General failure with WaitForMultipleObjects ().";
