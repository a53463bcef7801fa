// The time zone that a value of the TZ variable names: an Olson id that ICU
// knows ("Europe/Paris", ":Europe/Paris", "UTC") or a POSIX TZ rule
// ("CET-1CEST,M3.5.0,M10.5.0/3", "<+0530>-5:30"), made into an ICU zone.
// ICU's own host detection reads only Olson ids, so a rule would otherwise
// silently give the machine's zone.
#pragma once

#include <unicode/timezone.h>

#include <memory>
#include <string_view>

namespace tessaro::platform {

// The zone a POSIX TZ rule describes, or null when `rule` is not one:
//
//   std offset [dst [offset] [,start[/time],end[/time]]]
//
// Names are three or more letters, or "<...>" around three or more letters,
// digits, '+' and '-'. Offsets are [+-]hh[:mm[:ss]] west of Greenwich (so
// "CET-1" is one hour ahead of UTC); daylight time defaults to one hour ahead
// of standard time. Dates are Mm.w.d (week w of month m, 5 being the last;
// weekday d from 0 = Sunday), Jn (day 1..365, 29 February never counted) or
// n (day 0..365, 29 February counted in leap years); times are local
// [+-]hhh[:mm[:ss]] up to 167 hours, 02:00 when left out. A daylight name
// without dates follows the C library: second Sunday of March to first
// Sunday of November.
//
// ICU's SimpleTimeZone repeats fixed month/day dates every year, so these
// approximations are made:
// - n dates are placed as in a common year (365 as 31 December): after
//   February they fall one day late in leap years;
// - a time outside 0..24 hours moves the date by whole days; where the moved
//   date is not again a rule of the same form (the last weekday of a month
//   moved forward, or a weekday moved out of its month) the time is clamped
//   to the start or end of the rule's own day instead;
// - daylight time from the first moment of the year to past its end
//   (",0/0,J365/25") is a fixed zone at the daylight offset.
std::unique_ptr<icu::TimeZone> timeZoneFromPosixRule(std::string_view rule);

// The zone for a value of TZ. Null or empty: ICU's detection of the host's
// zone. An Olson id ICU knows, with or without a leading ':': that zone.
// Otherwise a POSIX TZ rule; a value that is neither is UTC, as the C library
// reads it, rather than ICU's "Etc/Unknown".
std::unique_ptr<icu::TimeZone> timeZoneFromTz(const char* tz);

}  // namespace tessaro::platform
