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
// the connection that has waited longest for its client. One that waits for the device, such as an
// event poll, is never given up.
//
// Shared by the servers, and outlives their connections.
class ConnectionBudget {
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
        bool m_isWaiting = false;
        Member* m_previous = nullptr;
        Member* m_next = nullptr;
    };

    explicit ConnectionBudget(const ConnectionLimits& limits) : m_limits(limits) {}
    ConnectionBudget(const ConnectionBudget&) = delete;
    ConnectionBudget& operator=(const ConnectionBudget&) = delete;

    const ConnectionLimits& limits() const { return m_limits; }
    void setLimits(const ConnectionLimits& limits) { m_limits = limits; }
    int connections() const { return m_connections; }

    // Makes room for one more from there, at the cost of others. `false`: there is none.
    bool makeRoom(AddressKey address);
    // Gives up one connection that waits for its client, whoever it is; `false` without any.
    bool giveUpOne(const char* reason);
    void join(Member& member, AddressKey address);
    void leave(Member& member);

    // From now on it waits for its client, or has just heard of it; it is the last to go.
    void setWaiting(Member& member);
    static bool isWaiting(const Member& member) { return member.m_isWaiting; }
    // It is at work, and is not given up.
    void setWorking(Member& member);
    // How many bytes it keeps in memory now. May give up others, never the member itself; `false`
    // when there is too little left nevertheless.
    bool setHeld(Member& member, qint64 bytes);

private:
    Member* longestWaiting(const Member* except, bool (*fits)(const Member&, AddressKey),
                           AddressKey address = 0) const;
    void unlink(Member& member);

    ConnectionLimits m_limits;
    int m_connections = 0;
    qint64 m_held = 0;
    std::unordered_map<AddressKey, int> m_perAddress;
    // Those that wait, the longest waiting first.
    Member* m_first = nullptr;
    Member* m_last = nullptr;
};
