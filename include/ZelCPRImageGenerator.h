#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelCPRRenderingPoint.h"
#include "ZelExport.h"
#include "ZelImageGeneratorBase.h"
#include "ZelMatrix3x3.h"
#include "ZelObliqueImageGenerator.h"
#include "ZelPathPlane.h"
#include "ZelSplineCurve.h"

// Curved planar reformations (conventions: ZelImageGeneratorBase.h)
// ------------------------------------------------------------------
// A curved reformation is built line by line. The Construct functions turn a
// path into one ZelCPRRenderingPoint per image line; GenerateImage samples the
// volume along every line, thin or as a slab across it.
//
// Rows from a path (the Construct functions)
// * rows n, scale (pixels per length unit of the curve's space), offset
//   (rows by which the path is scrolled) and centerColumn (the pixel column
//   of a row, counted from its pixel 0, on which the path lies).
// * Straightened and fixed rows are 1 / scale apart along the path, the middle
//   row showing the middle of the path (offset 0): row i shows position
//   s = (i - offset) / D + 0.5 - (n - 1) * 0.5 / D, D = length * scale.
//   Rows with s outside [0, 1] (or NaN, for a path of zero length) are
//   invalid: valid false, constructed true, position s, every other field
//   zero.
// * Straightened rows run along the path plane's axisU (which turns with the
//   transported frame): the image is the path straightened. Fixed rows run
//   along one unit direction; their tangent comes from the curve three length
//   units either side. Stretched rows run along the direction too, are spaced
//   by the curve's length measured square to the direction, and are moved
//   along it so that the depth of the control points' bounding-box centre
//   lies on column centerColumn of every row: the image keeps the true
//   geometry along the direction. Stretched rows off the ends of the path are
//   invalid with position 0 (before) or 1 (after).
// * ConstructProjection densifies the curve for the projection display: a
//   point for every screen row the curve crosses (see layout 2 below).
// * Construct functions only append; a vector that would outgrow its maximum
//   size raises std::length_error, and memory exhaustion std::bad_alloc.
//
// Lines of the image (GenerateImage)
// * layout 0: every record is an image column (its pixels run down the image,
//   n = height); layout 1: every record is an image row (n = width);
//   layout 2: the projection display (below).
// * The generator reads a record in voxel index units and centres its line on
//   start: pixel p of an n-pixel line samples start + (p - (n - 1) / 2) * step.
//   Start, step and slab step (crossAxis) go to 17.15 fixed point (times
//   32768, truncated), the first pixel at start - step * (n - 1) / 2, and the
//   walk adds the fixed-point step pixel by pixel. A row built with
//   centerColumn c therefore shows the path c pixels past the centre of the
//   line ((n - 1) / 2 + c); c = 0 puts the path in the middle of the image.
// * A record's constructed flag is not looked at; valid decides.
// * Lines beyond the last record, and lines of invalid records, are
//   backgroundValue from end to end; so is a line whose start lies further
//   than 2^45 voxels away or whose steps do not fit 32-bit fixed point (65536
//   voxels or more per pixel).
// * Band: with bandEnabled and bandWidth >= 0 only the pixels
//   [b0, b0 + bandWidth), b0 = (n - bandWidth) / 2 + the band centre of the
//   layout (columnBandCenter for layout 0, rowBandCenter otherwise), clamped
//   to the line, are sampled; the others are backgroundValue. This holds for
//   every routine, thin or slab.
// * Sampling routines, chosen once per call:
//     type 1 (unsigned char) and 3 (unsigned short), and type 4 (short) with
//       interpolation 0: the nearest voxel, (position + 16384) >> 15 on each
//       axis, background where that voxel lies outside the volume. Unsigned
//       volumes are sampled nearest whatever interpolation says (1 is
//       accepted), and never gathered into slabs or offset, as in the other
//       generators.
//     type 4 with interpolation 1: trilinear, with the integer arithmetic of
//       the oblique generator (ZelObliqueImageGenerator.h), inside when
//       0 <= position <= size - 1 on every axis, background elsewhere. With
//       slabSampleCount >= 2 and slabMode != 0 the slab routines below;
//       otherwise a thin line, moved by slabOffset slab steps along crossAxis
//       when slabOffset is not 0 (slabOffset < 0 moves it backwards): a
//       parallel surface, without building the rows again.
//     any other interpolation or voxel type: false.
// * Slabs (c = slabSampleCount samples per pixel, 2 .. 16385): sample j of a
//   pixel at position p lies at p - slab * (c / 2) + j * slab (c / 2
//   truncated, slab = crossAxis in fixed point); a sample counts only when
//   0 <= sample < (size - 1) * 32768 on every axis. slabMode:
//     1 maximum: the largest of backgroundValue and the counted samples (a
//       maximum slab never shows less than backgroundValue);
//     2 minimum: the smallest counted sample;
//     3 average: the sum of the counted samples divided by their number,
//       truncated toward zero;
//     any other value: false, nothing written.
//   Minimum and average show backgroundValue where no sample counts. With
//   slabOffset != 0 (whatever slabMode is) the slab is the offset one: c
//   samples centred slabOffset slab steps along crossAxis, combined as a
//   centre-weighted mean (triangle weights 1:2:1 for three samples,
//   ZelMPRStackImageMode 3 of the MPR generator), divided by the weights of
//   the counted samples: a thick parallel surface, smoother than a thin one.
//   Slabs are spread over T = min(lines, ZelCPUController::
//   GetAvailableCPUNumInThread()) workers, worker k taking lines
//   [k * L / T, (k + 1) * L / T); with T = 1 they run on the calling thread.
//   Thin lines run on the calling thread. The bytes never depend on T nor on
//   the processor's vector instructions.
// * The output's scale is set to the length of a pixel step in the volume's
//   units (|step| times the spacing, of the first valid line) on all three
//   axes; with no valid line it is left as it was.
//
// Rebuild (GenerateImage(..., rebuild = true))
// * The rows are made from the parameters before sampling, with the volume's
//   normalised spacing (spacing / finest spacing, as in the other
//   generators): the path of pathPlane gets that aspect (its counter is bumped
//   only when the aspect changes), the construction named by `construction`
//   runs with rows = the number of lines and `scale` as pixels per normalised
//   voxel (a pixel covers finest spacing / scale), and every record is
//   converted to voxel index units (start, step, normal, rowAxis and crossAxis
//   divided by the normalised spacing, so one slab step is one finest
//   spacing). curve and controlPoints take the path's curve and aspect points.
// * Straightened rows: pathPlane.UpdatePlaneData(rotationAngle, pitch,
//   tangentSpan, up) first; a path plane holding external planes needs no
//   path (its planes must be in normalised voxel space). Fixed and stretched
//   rows: the path's curve, or curve and controlPoints as given when the path
//   plane has no path. False, with nothing written, when there is nothing to
//   build from.
// * Without rebuild, renderingPoints are used as they are, in voxel units.
//
// The projection display (layout 2, signed 16-bit volumes only)
// * A view of the curved surface swept by the curve along the view's right
//   direction, seen along the view's normal: pixel (x, y) shows the point X of
//   that surface with (X - c) . right * scale = x - (W - 1) / 2 and
//   (X - c) . down * scale = y - (H - 1) / 2, where right, down and normal are
//   the columns of `view` (normalised voxel space, orthonormal) and c is the
//   centre of the control points' bounding box. Parts of the path therefore
//   lie where an oblique plane of that orientation would show them, and the
//   path's depth is followed.
// * Image row y shows the densified curve point (ConstructProjection with
//   `scale` and `view`) whose screen row rounds to y; where the curve passes
//   a row more than once, the point nearest the viewer (smallest along the
//   normal) wins, the first of equals. Rows the curve does not cross are
//   backgroundValue. Each row is then a line along right, sampled like a
//   layout 1 line (slabs across it run along the view's normal).
// * It is built from the curve and control points on every call (rebuild
//   first refreshes them from the path); renderingPoints are not used.
//
// Coordinate mappings (they read the records as the generator does)
// * DisplayToVoxel: the voxel position pixel (line, p) samples: the line
//   nearest the display position across lines, and along the line the
//   fixed-point position of the walk at the display coordinate (a whole
//   coordinate gives exactly the pixel's sample position; the offset of
//   slabOffset included where the routine applies it; the centre of a slab).
// * DisplayToPath: the path position of the lines under the display
//   position, interpolated between neighbouring valid lines.
// * PathToDisplay: the display position of the path at a path position: the
//   line (interpolated between the valid lines whose positions bracket it)
//   and, along it, the projection of the path point onto the line. For
//   layout 2, the screen position of the curve point.
// * PathToOblique: the oblique plane (ZelObliqueImageGenerator) that shows the
//   cross-section of the path at a path position: centred on the path point
//   of the nearest valid line, right along the line, down along its slab
//   direction (crossAxis made square to the line), normal their cross
//   product, zoom the line's pixels per normalised voxel; its middle row
//   samples the very positions of that line. For layout 2, the plane of the
//   view through the path point, which maps the screen as the projection
//   does.
// * They use the records and curve as the last call left them (rebuild in
//   GenerateImage), read the volume's size and spacing, and return false
//   without a volume, for a layout other than 0, 1, 2, or where no valid line
//   answers; the result is written whenever a line answers. DisplayToVoxel is
//   true when the line is valid and the voxel lies inside the volume
//   (0 <= voxel <= size - 1); PathToDisplay when the display lies inside the
//   image.

// Values of ZelCPRImageGeneratorParam::layout.
enum ZEL_CPR_LAYOUT {
    ZEL_CPR_LAYOUT_COLUMNS = 0,     // one record per image column
    ZEL_CPR_LAYOUT_ROWS = 1,        // one record per image row
    ZEL_CPR_LAYOUT_PROJECTION = 2,  // the projection display
};

// Values of ZelCPRImageGeneratorParam::slabMode.
enum ZEL_CPR_SLAB_MODE {
    ZEL_CPR_SLAB_NONE = 0,
    ZEL_CPR_SLAB_MAXIMUM = 1,
    ZEL_CPR_SLAB_MINIMUM = 2,
    ZEL_CPR_SLAB_AVERAGE = 3,
};

// How rebuild makes the rows (ZelCPRImageGeneratorParam::construction).
enum ZEL_CPR_CONSTRUCTION {
    ZEL_CPR_STRAIGHT = 0,  // ConstructStraightPath: the path straightened along its transported frame
    ZEL_CPR_FIXED = 1,     // ConstructFixedPath: rows along a fixed direction
    ZEL_CPR_STRETCH = 2,   // ConstructStretchPath: rows along a fixed direction, aligned to a common depth
};

// Parameters of a curved reformation. Copied member for member (the path is
// shared, not copied).
struct ZEL_API ZelCPRImageGeneratorParam {
    // What rebuild and the mappings make the lines from.
    ZelPathPlane pathPlane;                         // planes along the user's path (the path is not owned)
    ZelSplineCurve<Zel3DVector<float>> curve;       // the curve of fixed, stretched and projected rows
    std::vector<Zel3DVector<float>> controlPoints;  // its control points (aspect-scaled)
    int construction;                               // ZEL_CPR_CONSTRUCTION; ZEL_CPR_STRAIGHT
    float scale;                                    // pixels per normalised voxel; 1
    int offset;                                     // rows by which the path is scrolled; 0
    int centerColumn;                               // column of the path past the line's centre; 0
    Zel3DVector<float> direction;                   // unit row direction of fixed and stretched rows; (1, 0, 0)
    float rotationAngle;                            // straightened rows: turn of the frames about the path; 0
    double pitch;                                   // straightened rows: distance between path planes; 1
    double tangentSpan;                             // straightened rows: tangent span of the planes; 0.01
    Zel3DVector<float> up;                          // straightened rows: the first row points its way; (1, 0, 0)
    ZelMatrix3x3<float> view;                       // layout 2: columns right, down, normal; identity

    // What generation reads.
    int layout;                                         // ZEL_CPR_LAYOUT; 0
    std::vector<ZelCPRRenderingPoint> renderingPoints;  // one record per line, in line order; empty
    int interpolation;                                  // 0 nearest, 1 interpolated; 1
    int rowBandCenter;                                  // band centre of layout 1 (and 2); left unset
    int columnBandCenter;                               // band centre of layout 0; left unset
    short backgroundValue;                              // value of pixels with no sample; 0
    int slabMode;                                       // ZEL_CPR_SLAB_MODE; 0
    int slabSampleCount;                                // samples across the line; 2 or more makes a slab; 0
    bool bandEnabled;                                   // false
    int bandWidth;                                      // ignored when negative; 0
    int slabOffset;                                     // slab steps by which lines are moved; left unset

    // Every field gets the default above, except rowBandCenter,
    // columnBandCenter and slabOffset, which the caller sets: a caller that
    // enables a band or an offset chooses them.
    ZelCPRImageGeneratorParam();
};

// Curved planar reformations along a path.
class ZEL_API ZelCPRImageGenerator : public ZelImageGeneratorBase {
public:
    ZelCPRImageGenerator() = default;
    ZelCPRImageGenerator(const ZelCPRImageGenerator&) = default;
    ZelCPRImageGenerator& operator=(const ZelCPRImageGenerator&) = default;
    ~ZelCPRImageGenerator() override;

    // Rows straightened along the path planes' transported frames.
    static void ConstructStraightPath(int rows, float scale, int offset, int centerColumn,
                                      const ZelPathPlane& pathPlane, std::vector<ZelCPRRenderingPoint>& points);
    // Rows along one fixed unit direction, spaced by arc length.
    static void ConstructFixedPath(int rows, float scale, int offset, int centerColumn, Zel3DVector<float> direction,
                                   const ZelSplineCurve<Zel3DVector<float>>& curve,
                                   std::vector<ZelCPRRenderingPoint>& points);
    // Rows along one fixed unit direction, spaced by the length square to it
    // and aligned to the depth of the control points' bounding-box centre.
    static void ConstructStretchPath(int rows, float scale, int offset, int centerColumn, Zel3DVector<float> direction,
                                     const ZelSplineCurve<Zel3DVector<float>>& curve,
                                     const std::vector<Zel3DVector<float>>& controlPoints,
                                     std::vector<ZelCPRRenderingPoint>& points);
    // The curve densified so that successive points lie at most about one
    // screen row apart along the view's down direction (column 1 of view,
    // times scale); the filler points of a gap are appended in decreasing
    // parameter order before the point that closes it.
    static void ConstructProjection(float scale, const ZelMatrix3x3<float>& view,
                                    const ZelSplineCurve<Zel3DVector<float>>& curve,
                                    const std::vector<Zel3DVector<float>>& controlPoints,
                                    std::vector<Zel3DVector<float>>& curvePoints);

    // New width x height x 1 linear image of the volume's type (1, 3 or 4), on
    // the volume's allocator, filled by the second form; null on any failure.
    ZelImageBase* GenerateImage(int width, int height, ZelCPRImageGeneratorParam& param, bool rebuild);
    // Fills image (linear, of the volume's type; its size x and y). False,
    // with no pixel written, when image or volume is null, the types differ,
    // the output is not linear, the volume is neither linear nor tiled or its
    // spacing is not positive and finite, the layout, interpolation, slab mode
    // or slab sample count is refused (see above), or rebuild has nothing to
    // build from.
    bool GenerateImage(ZelImageBase* image, ZelCPRImageGeneratorParam& param, bool rebuild);

    bool DisplayToVoxel(int width, int height, const Zel2DVector<float>& display, Zel3DVector<float>& voxel,
                        const ZelCPRImageGeneratorParam& param) const;
    bool DisplayToPath(int width, int height, const Zel2DVector<float>& display, float& position,
                       const ZelCPRImageGeneratorParam& param) const;
    bool PathToDisplay(int width, int height, float position, Zel2DVector<float>& display,
                       const ZelCPRImageGeneratorParam& param) const;
    bool PathToOblique(int width, int height, float position, ZelObliqueImageGeneratorParam& oblique,
                       const ZelCPRImageGeneratorParam& param) const;
};
