#pragma once
// The markdown report of one run: every library converter against its
// reference and its goal, the end-to-end cases, and the reference points.

#include <string>
#include <vector>

#include "Catalogue.h"
#include "Results.h"

namespace bench {

std::string performanceTable(const std::vector<Entry>& entries, const Results& results,
                             const RunInfo& info);

}  // namespace bench
