#include "network/testing/fake_socket_system.h"

#include <algorithm>
#include <cstring>

#include "network/address_text.h"

namespace Orvane::Network::Testing {

void FakeSocketSystem::FailNext(const std::string& name, int error) {
    m_failures[name].push_back(error);
}

int FakeSocketSystem::CallCount(const std::string& name) const {
    return static_cast<int>(std::count(calls.begin(), calls.end(), name));
}

bool FakeSocketSystem::IsOpen(SocketHandle handle) const {
    return std::find(m_open.begin(), m_open.end(), handle) != m_open.end();
}

int FakeSocketSystem::Call(const std::string& name) {
    calls.push_back(name);
    int error = 0;
    if (auto queued = m_failures.find(name);
        queued != m_failures.end() && !queued->second.empty()) {
        error = queued->second.front();
        queued->second.pop_front();
    }
    m_lastError = error;
    return error;
}

int FakeSocketSystem::Startup(std::uint16_t /*requestedVersion*/, std::uint16_t& granted) {
    ++startups;
    granted = grantedVersion;
    return startupError;
}

int FakeSocketSystem::Open(SocketKind /*kind*/, SocketHandle& handle) {
    if (const int error = Call("Open"); error != 0) {
        handle = kNoSocket;
        return error;
    }
    handle = m_nextHandle++;
    m_open.push_back(handle);
    return 0;
}

int FakeSocketSystem::CloseSocket(SocketHandle handle) {
    if (const int error = Call("CloseSocket"); error != 0) {
        return error;
    }
    closedSockets.push_back(handle);
    std::erase(m_open, handle);
    m_sendInterfaces.erase(handle);
    return 0;
}

int FakeSocketSystem::Accept(SocketHandle, SocketHandle& accepted, SocketAddressV4&) {
    if (const int error = Call("Accept"); error != 0) {
        return error;
    }
    accepted = m_nextHandle++;
    m_open.push_back(accepted);
    return 0;
}

int FakeSocketSystem::Wait(SocketHandle, WaitFor, const WaitTime*, int& readyCount) {
    if (const int error = Call("Wait"); error != 0) {
        return error;
    }
    readyCount = waitReadyCount;
    return 0;
}

int FakeSocketSystem::SendTo(SocketHandle handle, const SocketAddressV4& to, const char* data,
                             unsigned length, unsigned& count) {
    if (const int error = Call("SendTo"); error != 0) {
        return error;
    }
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    const auto known = m_sendInterfaces.find(handle);
    sent.push_back({handle, known == m_sendInterfaces.end() ? "" : known->second,
                    AddressToText(to.address), PortFromNetworkOrder(to.port),
                    std::vector<unsigned char>(bytes, bytes + length)});
    count = length;
    return 0;
}

int FakeSocketSystem::Send(SocketHandle, const char*, unsigned length, unsigned& count) {
    if (const int error = Call("Send"); error != 0) {
        return error;
    }
    count = length;
    return 0;
}

int FakeSocketSystem::SetMulticastInterface(SocketHandle handle, std::uint32_t interfaceAddress) {
    if (const int error = Call("SetMulticastInterface"); error != 0) {
        return error;
    }
    m_sendInterfaces[handle] = AddressToText(interfaceAddress);
    return 0;
}

EventHandle FakeSocketSystem::NewEvent() {
    if (Call("NewEvent") != 0) {
        return kNoEvent;
    }
    ++openEvents;
    return m_nextEvent++;
}

int FakeSocketSystem::HostName(char* buffer, unsigned size) {
    calls.push_back("HostName");
    if (hostNameError != 0) {
        return hostNameError;
    }
    std::strncpy(buffer, "fakehost", size - 1);
    return 0;
}

int FakeSocketSystem::HostByName(const char*, HostEntry& entry) {
    calls.push_back("HostByName");
    entry.addresses.clear();
    if (hostLookupError != 0) {
        return hostLookupError;
    }
    for (const auto& address : hostAddresses) {
        entry.addresses.push_back(AddressFromText(address.c_str()));
    }
    return 0;
}

int FakeSocketSystem::ReceiveMessage(void*, SocketHandle, char*, unsigned, char*, unsigned,
                                     unsigned& received, SocketAddressV4&,
                                     std::uint32_t& interfaceIndex) {
    received = 0;
    interfaceIndex = 0;
    return Call("ReceiveMessage");
}

}  // namespace Orvane::Network::Testing
