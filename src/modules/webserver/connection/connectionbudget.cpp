// SPDX-License-Identifier: MIT
#include "connection/connectionbudget.h"

#include <cstring>
#include <netinet/in.h>

namespace {

// To give up who holds less would bring nothing.
constexpr qint64 notable = 4096;
// What every request may take, however little there is.
constexpr qint64 modest = 65536;

} // namespace

AddressKey addressKey(const sockaddr* address) {
    if (address->sa_family == AF_INET) {
        sockaddr_in v4;
        std::memcpy(&v4, address, sizeof v4);
        return v4.sin_addr.s_addr;
    }
    if (address->sa_family != AF_INET6)
        return 0;
    sockaddr_in6 v6;
    std::memcpy(&v6, address, sizeof v6);
    const in6_addr& ip = v6.sin6_addr;
    if (IN6_IS_ADDR_V4MAPPED(&ip)) {
        std::uint32_t v4 = 0;
        std::memcpy(&v4, ip.s6_addr + 12, sizeof v4);
        return v4;
    }
    AddressKey network = 0;
    std::memcpy(&network, ip.s6_addr, sizeof network);
    return network;
}

template <typename Condition>
ConnectionBudget::Member* ConnectionBudget::List::find(Condition fits) const {
    for (Member* member = first; member; member = member->m_next) {
        if (fits(*member))
            return member;
    }
    return nullptr;
}

bool ConnectionBudget::makeRoom(AddressKey address) {
    const auto share = m_perAddress.find(address);
    if (share != m_perAddress.end() && share->second >= m_limits.connectionsPerAddress) {
        const auto fits = [address](const Member& member) { return member.m_address == address; };
        Member* member = m_awaitingClient.find(fits);
        if (!member)
            member = m_awaitingDevice.find(fits);
        if (!member)
            return false;
        member->giveUp("its address has too many connections");
    }
    return m_connections < m_limits.connections || giveUpOne("there are too many connections");
}

bool ConnectionBudget::giveUpOne(const char* reason) {
    Member* member = m_awaitingClient.first ? m_awaitingClient.first : m_awaitingDevice.first;
    if (!member)
        return false;
    member->giveUp(reason);
    return true;
}

void ConnectionBudget::join(Member& member, AddressKey address) {
    member.m_address = address;
    ++m_connections;
    ++m_perAddress[address];
    setAwaitingClient(member);
}

void ConnectionBudget::leave(Member& member) {
    setWorking(member);
    m_held -= member.m_held;
    member.m_held = 0;
    --m_connections;
    const auto share = m_perAddress.find(member.m_address);
    if (--share->second == 0)
        m_perAddress.erase(share);
}

// To its end.
void ConnectionBudget::move(Member& member, List* list) {
    if (List* before = member.m_list) {
        (member.m_previous ? member.m_previous->m_next : before->first) = member.m_next;
        (member.m_next ? member.m_next->m_previous : before->last) = member.m_previous;
    }
    member.m_list = list;
    member.m_previous = list ? list->last : nullptr;
    member.m_next = nullptr;
    if (!list)
        return;
    (list->last ? list->last->m_next : list->first) = &member;
    list->last = &member;
}

bool ConnectionBudget::setHeld(Member& member, qint64 bytes) {
    const bool grows = bytes > member.m_held;
    m_held += bytes - member.m_held;
    member.m_held = bytes;
    while (grows && m_held > m_limits.heldBytes) {
        Member* other = m_awaitingClient.find(
            [&member](const Member& m) { return &m != &member && m.m_held >= notable; });
        // Small ones always go on. One large answer may exceed the limit, because a device may have
        // such, but not beside others.
        if (!other)
            return bytes <= modest || m_held - bytes <= m_limits.heldBytes / 2;
        other->giveUp("clients have too much in memory");
    }
    return true;
}
