// The compiled part of the zelimage package.
#include "ZelCPUController.h"
#include "common.h"

using namespace pybind11::literals;

PYBIND11_MODULE(_zelimage, m)
{
    m.doc() = "ZelImageGenerator for numpy: reslicing, display conversion, fusion and drawing.";
    zelpy::BindVolumes(m);
    zelpy::BindGenerators(m);
    zelpy::BindConvert(m);
    zelpy::BindCompose(m);
    zelpy::BindDraw(m);
    zelpy::BindPaths(m);
    zelpy::BindCPR(m);

    m.def("thread_count", &ZelCPUController::GetAvailableCPUNumInThread,
          "Worker threads a threaded call may start (slabs, multi-oblique).");
    m.def("set_thread_count", &ZelCPUController::SetAvailableCPUNum, "count"_a,
          "Overrides the worker count for the whole process; 0 returns to ZEL_THREADS or the processor count.");
}
