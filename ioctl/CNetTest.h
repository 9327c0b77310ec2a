// The check of the network connection.
#pragma once

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Pings a host and reads the addresses of the board's own network interfaces.
///
/// The texts of `GetIP` and `Str4IP` are kept in a ring of ten that all objects share. Do not free them. A text is
/// valid until the tenth call after the one that gave it. Calls of `GetIP`, `Str4IP`, `PingTest` and `ping` must not
/// overlap, on one object or on several.
class TESTMODE_API CNetTest {
public:
    CNetTest();
    virtual ~CNetTest();

    /// Sends one ICMP echo request to an IPv4 address in dotted-decimal text and waits up to 1.5 seconds. 0 when the
    /// first ICMP datagram that arrives comes from that address, written as the text is (192.168.0.1, not
    /// 192.168.0.01); -1 when it comes from another, when none comes, for null, and when a socket call fails (logged; a
    /// raw socket needs CAP_NET_RAW). Names are not resolved. Only the source of the datagram is looked at: a ping of
    /// one of the board's own addresses receives its own request and proves little.
    int PingTest(char const* address);

    /// Does what `PingTest` does, without its first log line; `address` must not be null.
    int ping(char const* address);

    /// Internet checksum (RFC 1071) of `length` bytes (at most 65536), over 16-bit words in native order; an odd last
    /// byte is the first byte of a word whose other is 0. 65535 for a length of 0 or less.
    unsigned short icmp_checksum(unsigned short* data, int length);

    /// The IPv4 address of a network interface in dotted-decimal text; only the first 15 characters of `name` count.
    /// Null (logged) for a null name, for an interface that does not exist or has no such address, and when a socket
    /// call fails.
    char* GetIP(char const* name);

    /// The dotted-decimal text of an IPv4 address in host byte order.
    char* Str4IP(unsigned int address);

private:
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
