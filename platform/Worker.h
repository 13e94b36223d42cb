// The one background worker used to draw half of a frame's rows on a second
// processor: a std::thread with a request queue and a completion queue.
#pragma once

// Starts the worker when the machine has more than one processor.
// Returns 1 when the worker is running, else 0 (and nothing is left behind).
int StartMP();
// Ends the worker and frees its task record; safe when none is running.
void CloseMP();
