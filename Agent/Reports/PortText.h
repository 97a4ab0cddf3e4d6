#pragma once

// Names of what a chip only knows by number: ports, trunks, where copies go, and the sessions
// that entries serve.

#include "Agent/Reports/Report.h"
#include "Agent/Runtime/Runtime.h"

namespace Agent {

// Names of ports as people write them, in natural order.
std::vector< std::string > portNames(
      const Runtime& runtime, int unit, const Shim::PortBitmap& ports );
// The same in one text. A run of ports is put together if all configured ports between its ends
// are meant: "Ethernet0, Ethernet8-Ethernet20"; "no port".
std::string portList( const Runtime& runtime, int unit, const Shim::PortBitmap& ports );
// For a cell: the text for people, the names for programs.
Cell portsCell( const Runtime& runtime, int unit, const Shim::PortBitmap& ports );

// "PortChannel1"; "trunk 7" where no PORTCHANNEL names it.
std::string trunkName( const Runtime& runtime, int unit, int trunk );
// Where a mirror destination's copies go; "not set".
std::string mirrorTargetName(
      const Runtime& runtime, const ChipModel::ChipState& chip, uint32_t destination );
// For programs: the port or port channel, and the tunnel's end; null if it is not set.
Value mirrorTarget(
      const Runtime& runtime, const ChipModel::ChipState& chip, uint32_t destination );

// The session that an entry serves; empty if none does.
std::string sessionOf( const Runtime& runtime, const std::vector< SessionState >& sessions,
      const ChipModel::ChipState& chip, const ChipModel::EntryView& entry );

} // namespace Agent
