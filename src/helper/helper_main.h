#pragma once

#include "helper/helper_service.h"

// The helper program: "--install [--prefix DIR] [--bus ADDRESS]" installs it,
// anything else serves the helper's bus name until the process is stopped.
int runHelper(int argc, char** argv, HelperService::Version version);
