// What `put` tells: each file's outcome as it comes, and the sums at the end.
#pragma once

#include <string>

#include "host/terminal/Output.h"
#include "host/upload/Plan.h"
#include "host/upload/UploadFilter.h"

namespace kelo::host {

// In words, fit for a terminal; in a dry run what it would be.
std::string OutcomeText(const File& file, bool dryRun = false);

void TellOutcome(Output& out, const File& file, bool dryRun);

// Tells of the files that no request can have. Those that can never be sent are kept. A line
// names one that was named before only if it has changed, or in a dry run.
void TellUnfit(Output& out, Memory& memory, const Files& files, bool dryRun);

// What the summary in JSON begins with.
Json EmptySummary(const LeftOutCounts& leftOut, bool dryRun);

// The sums of a plan whose files are decided; gives the exit code.
int TellSums(Output& out, const UploadPlan& plan, const LeftOutCounts& leftOut, bool dryRun);

}  // namespace kelo::host
