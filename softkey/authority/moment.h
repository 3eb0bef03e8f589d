#ifndef SOFTKEY_AUTHORITY_MOMENT_H
#define SOFTKEY_AUTHORITY_MOMENT_H

#include <ctime>
#include <string>

namespace softkey {

// A moment as people write it: "now", a day "2026-01-31" (its beginning), "2026-01-31T12:00:00Z",
// or so long from now: "-30d", "+12h", with s, m, h, d or y (365 days). All in UTC. Throws
// kInvalidParameter, also beyond the years 1950 to 9999, which certificates cannot tell.
std::time_t ReadMoment(const std::string& text, std::time_t now);

}  // namespace softkey

#endif
