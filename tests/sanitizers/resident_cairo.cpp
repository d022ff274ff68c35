// Compiled into the application in LeakSanitizer's build: the drawing library keeps what it has set
// up to the end of the process, and once it has been closed nothing points there any more.

#include "support/resident_cairo.h"
