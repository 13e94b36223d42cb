#include "platform/Worker.h"

// Until the resampling worker lands, no worker is started.
int StartMP() { return 0; }
void CloseMP() {}
