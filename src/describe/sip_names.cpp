#include <algorithm>
#include <array>

#include "describe/message_types.h"

// RFC 3261: the methods of requests and the status of responses, those of later documents included.
namespace corvane {
namespace {

constexpr std::string_view kMethods[] = {"ACK",     "BYE",      "CANCEL",    "INFO",  "INVITE",
                                         "MESSAGE", "NOTIFY",   "OPTIONS",   "PRACK", "PUBLISH",
                                         "REFER",   "REGISTER", "SUBSCRIBE", "UPDATE"};

// Every one begins with its three digits.
constexpr std::string_view kStatuses[] = {
    "100 Trying",
    "180 Ringing",
    "181 Call Is Being Forwarded",
    "182 Queued",
    "183 Session Progress",
    "199 Early Dialog Terminated",
    "200 OK",
    "202 Accepted",
    "204 No Notification",
    "300 Multiple Choices",
    "301 Moved Permanently",
    "302 Moved Temporarily",
    "305 Use Proxy",
    "380 Alternative Service",
    "400 Bad Request",
    "401 Unauthorized",
    "402 Payment Required",
    "403 Forbidden",
    "404 Not Found",
    "405 Method Not Allowed",
    "406 Not Acceptable",
    "407 Proxy Authentication Required",
    "408 Request Timeout",
    "410 Gone",
    "412 Conditional Request Failed",
    "413 Request Entity Too Large",
    "414 Request-URI Too Long",
    "415 Unsupported Media Type",
    "416 Unsupported URI Scheme",
    "417 Unknown Resource-Priority",
    "420 Bad Extension",
    "421 Extension Required",
    "422 Session Interval Too Small",
    "423 Interval Too Brief",
    "424 Bad Location Information",
    "428 Use Identity Header",
    "429 Provide Referrer Identity",
    "430 Flow Failed",
    "433 Anonymity Disallowed",
    "436 Bad Identity-Info",
    "437 Unsupported Certificate",
    "438 Invalid Identity Header",
    "439 First Hop Lacks Outbound Support",
    "440 Max-Breadth Exceeded",
    "469 Bad Info Package",
    "470 Consent Needed",
    "480 Temporarily Unavailable",
    "481 Call/Transaction Does Not Exist",
    "482 Loop Detected",
    "483 Too Many Hops",
    "484 Address Incomplete",
    "485 Ambiguous",
    "486 Busy Here",
    "487 Request Terminated",
    "488 Not Acceptable Here",
    "489 Bad Event",
    "491 Request Pending",
    "493 Undecipherable",
    "494 Security Agreement Required",
    "500 Server Internal Error",
    "501 Not Implemented",
    "502 Bad Gateway",
    "503 Service Unavailable",
    "504 Server Time-out",
    "505 Version Not Supported",
    "513 Message Too Large",
    "580 Precondition Failure",
    "600 Busy Everywhere",
    "603 Decline",
    "604 Does Not Exist Anywhere",
    "606 Not Acceptable",
};

constexpr std::string_view kVersion = "SIP/2.0";
constexpr std::size_t kDigits = 3;

[[nodiscard]] bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// `line` is what follows the version: a space, three digits, and the end or a space.
[[nodiscard]] std::string_view StatusName(std::string_view line) {
  if (line.size() <= kDigits + 1 || line[0] != ' ' ||
      !std::ranges::all_of(line.substr(1, kDigits), IsDigit) || IsDigit(line[kDigits + 1])) {
    return {};
  }
  const auto* const found = std::ranges::find(
      kStatuses, line.substr(1, kDigits), [](std::string_view s) { return s.substr(0, kDigits); });
  return found == std::end(kStatuses) ? "Response" : *found;
}

}  // namespace

std::string_view SipMessageName(eSyntax syntax, MessageBytes message) {
  if (syntax != eSyntax::Sip) {
    return {};
  }
  // As much of the start line as a name takes.
  std::array<char, 16> characters = {};
  const std::size_t count = std::min(message.size(), characters.size());
  std::ranges::transform(message.first(count), characters.begin(),
                         [](std::uint8_t byte) { return static_cast<char>(byte); });
  const std::string_view line(characters.data(), count);
  if (line.starts_with(kVersion)) {
    return StatusName(line.substr(kVersion.size()));
  }
  const std::size_t end = line.find(' ');
  const auto* const found = std::ranges::find(kMethods, line.substr(0, end));
  return end == std::string_view::npos || found == std::end(kMethods) ? std::string_view() : *found;
}

}  // namespace corvane
