#include "cli/status/kernel_drift.h"

#include "cli/status/forwarding_drift.h"
#include "cli/status/link_drift.h"
#include "cli/status/route_drift.h"

void find_kernel_drift(const Snapshot& snapshot, std::vector<Drift>& drift) {
  find_link_drift(snapshot, drift);
  find_forwarding_drift(snapshot, drift);
  find_route_drift(snapshot, drift);
  for (const std::string& error : snapshot.kernel.errors)
    drift.push_back({"kernel", "could not read " + error, false, "differences there are not found", ""});
  // Pending drift needs no fix.
  for (Drift& one : drift)
    if (one.is_pending) one.fix.clear();
}
