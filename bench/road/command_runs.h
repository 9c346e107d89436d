#pragma once

#include "measure.h"
#include "support/two_hosts.h"

namespace bench {

/// `mcgate send` as a whole process, unpaced, from a file to a group, beside a raw loop that reads the same file and
/// sends it.
Comparison commandComparison(const test::TwoHosts& hosts);

/// How well `mcgate send` keeps the spacing of a 20 Mbit/s stream while two busy processes want the processors, by the
/// kernel's own times of arrival in the other host; with the priority that the sender's thread was given.
Note spacingUnderLoad(const test::TwoHosts& hosts);

}  // namespace bench
