#pragma once

// Reads what the field processors can match on behind the EtherType, straight into the lookup
// key: IPv4 (RFC 791), IPv6 with its extension headers (RFC 8200, AH: RFC 4302),
// TCP (RFC 9293), UDP (RFC 768), SCTP (RFC 9260), ICMP (RFC 792, RFC 4443), ARP (RFC 826),
// MPLS labels (RFC 3032).
//
// Any bytes are parsed as far as they go: what is cut off or makes no sense is left out of the
// key, and so matches no qualifier. Padding behind the datagram is not looked at. What a label
// stack carries is not looked at either. No allocation.

#include "ChipModel/Lookup/LookupKey.h"
#include "ChipModel/Packets/Parser.h"

namespace ChipModel {

// The key's fields from the EtherType on, and the addresses of layer 2.
void parseHeaders( const ParsedFrame& frame, LookupKey& key );

} // namespace ChipModel
