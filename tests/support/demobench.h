// ZU-VISA with its demo bench, bound through visalib for the lifetime of the object: the
// environment a program that loads VISA at run time sees on a fresh machine.
#pragma once

#include <cstdlib>
#include <string>

#include "tests/support/tempdir.h"
#include "visalib/visalib.h"

class DemoBenchVisa {
  public:
    DemoBenchVisa() {
        setenv("TALMIK_VISA_LIBRARY",
               (std::string(std::getenv("TALMIK_BIN_DIR")) + "/libzuvisa.so").c_str(), 1);
        writeFile(dir_.file("zuvisa.ini"), "[Bridgelets]\nsim = True\n");
        setenv("ZUVISA_CONFIG", dir_.file("zuvisa.ini").c_str(), 1);
    }
    ~DemoBenchVisa() {
        VisaLib_Unload();
        unsetenv("ZUVISA_CONFIG");
        unsetenv("TALMIK_VISA_LIBRARY");
    }
    DemoBenchVisa(const DemoBenchVisa&) = delete;
    DemoBenchVisa& operator=(const DemoBenchVisa&) = delete;

  private:
    TempDir dir_;
};
