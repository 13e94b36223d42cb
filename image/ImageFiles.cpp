// Placeholder entry points of the file readers and writers until they land.
#include "image/CDIB.h"

int CDIB::Load(CPFile*) { return 3; }
int CDIB::Load(FSpec*, FSpec*, bool) { return 0; }
int CDIB::Save(CPFile*, int) { return 1; }
int CDIB::Save(FSpec*, int) { return 0; }
