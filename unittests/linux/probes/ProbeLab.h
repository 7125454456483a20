#pragma once
// Runs the live probe tests inside the private network of netlab.sh. Outside it, the first live
// test to run starts this same test binary once inside the network, for every selected live test
// (suites named LiveProbes...), and each live test then reports the outcome its body had in
// there: passed, failed with its messages, or skipped with the reason. A machine that cannot make
// the network's namespaces skips them, saying why.

#include <QString>

namespace probelab {

// This process runs inside the private network.
bool insideLab();
// The network's folder (its resolv.conf, the servers' logs); empty outside it.
QString labDirectory();

// Outside the network: records the outcome the current test had inside it.
void reportOutcomeInsideLab();

}  // namespace probelab

// The first statement of a live test: outside the network, the test reports what its body did
// inside and ends; inside, the body runs.
#define RUN_INSIDE_PROBE_LAB()                  \
    do {                                        \
        if (!probelab::insideLab()) {           \
            probelab::reportOutcomeInsideLab(); \
            return;                             \
        }                                       \
    } while (false)
