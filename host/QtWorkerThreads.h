#pragma once
// Qt's own worker threads, those of its global thread pool (the raster paint engine fills large
// areas there): stopped at the end of a run, while the process is whole, so that none is still
// winding down when the process exits.

#include <chrono>

namespace host {

// Ends the global pool's threads once their jobs are done and waits, at most timeout, until the
// system has none of them left; answers whether that point was reached.
bool stopQtWorkerThreads(std::chrono::milliseconds timeout);

}  // namespace host
