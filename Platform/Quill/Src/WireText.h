// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Names and strings as they stand on the wire. Pure functions; any thread.
namespace Quill::WireText {

inline constexpr const char* OBJECT_PATH = "/quill/endpoint";
inline constexpr const char* INTERFACE = "quill.Endpoint1";
inline constexpr const char* CALL_METHOD = "Call";

/// The most that the strings of one message may hold together, in bytes. A message bus closes the
/// connection of whoever sends more than its limit, which is 32 MiB by default (dbus-daemon(1),
/// max_message_size); header and alignment take less than the rest.
inline constexpr std::size_t LARGEST_TEXT = 32UL * 1024 * 1024 - 8192;

/// The well-known name under which an endpoint of this name is owned, or an empty string where no
/// valid one comes out (the D-Bus standard, "Valid Names").
std::string BusName(std::string_view endpointName);

/// A bus name's first element: "marrow" of "marrow.ser.server.MessageRouter".
std::string_view TopLevel(std::string_view busName);

/// The member name of a signal: each byte outside [A-Za-z0-9_], and a digit at the front, as "_"
/// and two hex digits; cut at the 255 bytes that a member may have. The exact name travels as
/// argument 0.
std::string SignalMember(std::string_view signalName);

/// The match rule for a signal of this name, from `sender` or, where that is empty, from anybody.
std::string SignalMatch(std::string_view sender, std::string_view signalName);

/// The match rule for the signals of all endpoints, or of `sender` where it isn't empty.
std::string AllSignalsMatch(std::string_view sender);

/// `text` as the bus library takes it: bytes that are no UTF-8, code points that it refuses
/// (NUL, surrogates, noncharacters) become U+FFFD.
std::string ValidString(std::string text);

/// The same for JSON text, in which a noncharacter can be kept as an escape.
std::string ValidJson(std::string text);

} // namespace Quill::WireText
