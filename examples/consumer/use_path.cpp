// Paths from the installed package: a path, its curve and splines, planes
// along it and their smoothing.
#include <ZelImageGenerator.h>

#include <cstdio>
#include <memory>

#include "consumer.h"

bool UsePath()
{
    ZelPath path;
    path.SetPoints({{10, 10, 5}, {40, 20, 10}, {60, 50, 20}, {70, 90, 30}});
    path.AddPoint({60, 120, 40});
    path.UpdatePoint(0, {12, 10, 5});
    path.SetAspect({0.5f, 0.5f, 1.0f});
    path.UpdatePointsCounter();
    const ZelSplineCurve<Zel3DVector<float>>& curve = path.GetSplineCurveObject();
    if (curve.GetResampledPoints().size() != 4097 || path.GetAspectPoint().size() != 5) return false;
    std::unique_ptr<ZelPath> clone(path.Clone());
    if (!clone || clone->GetPointNum() != 5 || clone->GetPoint(9).x != 0.0f) return false;
    ZelPath copy(path);
    copy.Copy(clone.get());
    copy.DeleteLastPoint();
    copy.ClearPoints();

    ZelSplineCurve<Zel3DVector<float>> own;  // the exported instantiation, used directly
    if (own.Build(path.GetPoints()) != ZEL_SPLINE_SUCCESS || own.GetControlParameters().size() != 5) return false;
    const float end = own.Evaluate(1.0).x;
    own.Clear();
    ZelCurveInterpolation loop;
    loop.SetClosed(true);
    if (loop.Build(path.GetPoints()) != ZEL_SPLINE_SUCCESS || loop.GetParameter(0) != 0.0) return false;
    if (loop.Evaluate(1.0).x != loop.Evaluate(0.0).x || end != 60.0f) return false;
    loop.Clear();
    ZelSplineInterpolation diameters;
    diameters.Build({{0.0f, 2.0f}, {0.5f, 3.0f}, {1.0f, 2.5f}});
    const float diameter = diameters.Evaluate(0.25f);
    diameters.Clear();

    ZelPathPlane planes;
    planes.SetPath(&path);
    if (!planes.UpdatePlaneData(0.2f, 2.0, 0.01, {0, 0, 1})) return false;
    planes.SetRadiusForUniformalize(5.0f);
    planes.Uniformalize(nullptr, 0.0f, 1.0f);
    ZelPathPlane external(planes);
    external = planes;
    external.SetPlaneObject(planes.GetPlaneObject(), true, true, 2.0);
    external.SetReferenceExternalData(true);
    const ZelPlaneData middle = external.GetPlaneData(0.5f);
    std::printf("path: %d planes over %.1f length units, diameter %.2f, middle tangent z %.3f\n",
                planes.GetPlaneDataNum(), planes.GetLength(), diameter, middle.tangent.z);
    if (external.GetDiameter(0.5f) != 0.0f || external.GetMaxDiameter() != 0.0f || external.GetPath() != &path)
        return false;
    return external.GetUpdateCounter() == path.GetUpdatePointsCounter();
}
