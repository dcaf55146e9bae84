#include "helper/helper_main.h"
#include "privileged/helper_protocol.h"

int main(int argc, char** argv) {
    return runHelper(argc, argv,
                     {HelperProtocol::kVersionMajor, HelperProtocol::kVersionMinor,
                      HelperProtocol::kVersionPatch});
}
