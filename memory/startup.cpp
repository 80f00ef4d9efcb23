// Library start-up. The colour and alpha tables are compile-time constants
// (format/color_tables.cpp), so they exist before any code runs; what is left
// to do at load is the processor feature level. No thread is started at load:
// the pool is created by its first use, and unloading does not stop it (call
// LyThreadPool::Exit first for that).

#include "memory/LyCpu.h"

namespace {

class CLyAVUtilsApp {
public:
    CLyAVUtilsApp() { InitInstance(); }

    bool InitInstance() {
        ly::InitProcessorFeatureLevel();
        (void)ly::BestIsa();
        return true;
    }
};

CLyAVUtilsApp theApp;

}  // namespace
