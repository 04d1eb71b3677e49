// Internal to visalib: the trace's clock. Recording reads only a stamp, the processor's
// invariant time-stamp counter where there is one (a few nanoseconds) and the monotonic clock
// otherwise; stamps become wall-clock times when a record is read, through anchors (a stamp and
// the wall-clock time read together) that recording takes about once a second.
#pragma once

#include <cstdint>

namespace visatrace {

uint64_t stamp();
// Takes an anchor when one is due; called with each stamp that ends a record.
void anchorIfDue(uint64_t stamp);
int64_t wallOfStamp(uint64_t stamp);
// Nanoseconds from one stamp to a later one.
int64_t nanosecondsBetween(uint64_t from, uint64_t to);

int64_t monotonicNs();
int64_t wallNs();

}  // namespace visatrace
