// The check of the network connection.
#pragma once

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Pings a host and reads the addresses of the board's own network interfaces.
///
/// The texts of `GetIP` and `Str4IP` stand in a ring of ten that all objects share, which is not freed: a text is valid
/// until the tenth call after its own. Calls of `GetIP`, `Str4IP` and `PingTest` must not overlap, on one object or on
/// several.
class TESTMODE_API CNetTest {
public:
    CNetTest();
    virtual ~CNetTest();

    /// Sends one ICMP echo request to an IPv4 address in dotted-decimal text and waits up to 1.5 seconds. 0 when the
    /// first ICMP datagram that arrives comes from that very address; -1 when it comes from another, when none comes,
    /// for null, and when a socket call fails (logged; a raw socket needs CAP_NET_RAW). Names are not resolved. Only
    /// the source is looked at: a ping of the board's own addresses hears its own request and proves little.
    int PingTest(char const* address);

    /// The exchange of `PingTest`; `address` must not be null.
    int ping(char const* address);

    /// Internet checksum (RFC 1071) of `length` bytes (at most 65536) on 16-bit words in native order; an odd last byte
    /// is the first byte of a word. 0 to 65535; 65535 for a length of 0 or less.
    unsigned short icmp_checksum(unsigned short* data, int length);

    /// The IPv4 address of a network interface in dotted-decimal text; of `name` the first 15 characters count. Null
    /// for a null name, for an interface that does not exist or has no such address, and when a socket call fails
    /// (logged).
    char* GetIP(char const* name);

    /// The dotted-decimal text of an IPv4 address in host byte order.
    char* Str4IP(unsigned int address);

private:
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
