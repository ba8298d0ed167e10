// SPDX-License-Identifier: MIT
#pragma once

#include "connection/connectionlimits.h"

#include <cstdint>
#include <unordered_map>

struct sockaddr;

// Where a client comes from, as far as shares go: an IPv4 address, or the network of an IPv6 one,
// whose client may have as many addresses as it likes.
using AddressKey = std::uint64_t;
AddressKey addressKey(const sockaddr* address);

// What all connections of a worker's servers take together, and who has to go when it is too much:
// the connection that has waited longest for its client. When there is none, and there are too many
// connections, it is the one that has waited longest for the device, such as an event poll; its
// client asks again, and misses nothing.
//
// Shared by the servers, and outlives their connections.
class ConnectionBudget {
    struct List;

public:
    // A connection, as far as it is counted.
    class Member {
    public:
        virtual ~Member() = default;
        // Ends it; it leaves before this returns.
        virtual void giveUp(const char* reason) = 0;

    private:
        friend class ConnectionBudget;
        AddressKey m_address = 0;
        qint64 m_held = 0;
        // The list that it is in; null while it is at work.
        List* m_list = nullptr;
        Member* m_previous = nullptr;
        Member* m_next = nullptr;
    };

    explicit ConnectionBudget(const ConnectionLimits& limits) : m_limits(limits) {}
    ConnectionBudget(const ConnectionBudget&) = delete;
    ConnectionBudget& operator=(const ConnectionBudget&) = delete;

    const ConnectionLimits& limits() const { return m_limits; }
    void setLimits(const ConnectionLimits& limits) { m_limits = limits; }
    int connections() const { return m_connections; }
    // Bytes in memory.
    qint64 held() const { return m_held; }

    // Makes room for one more from there, at the cost of others. `false`: there is none.
    bool makeRoom(AddressKey address);
    // Gives up one connection that waits, whoever it is; `false` without any.
    bool giveUpOne(const char* reason);
    void join(Member& member, AddressKey address);
    void leave(Member& member);

    // From now on it waits for its client, or has just heard of it; it is the last to go.
    void setAwaitingClient(Member& member) { move(member, &m_awaitingClient); }
    bool isAwaitingClient(const Member& member) const { return member.m_list == &m_awaitingClient; }
    // Its request waits for something to happen at the device.
    void setAwaitingDevice(Member& member) { move(member, &m_awaitingDevice); }
    bool isAwaitingDevice(const Member& member) const { return member.m_list == &m_awaitingDevice; }
    // It is at work, and is not given up.
    void setWorking(Member& member) { move(member, nullptr); }
    // How many bytes it keeps in memory now. May give up others, never the member itself; `false`
    // when there is too little left nevertheless.
    bool setHeld(Member& member, qint64 bytes);

private:
    // The longest waiting first.
    struct List {
        Member* first = nullptr;
        Member* last = nullptr;

        template <typename Condition>
        Member* find(Condition fits) const;
    };

    static void move(Member& member, List* list);

    ConnectionLimits m_limits;
    int m_connections = 0;
    qint64 m_held = 0;
    std::unordered_map<AddressKey, int> m_perAddress;
    List m_awaitingClient;
    List m_awaitingDevice;
};
