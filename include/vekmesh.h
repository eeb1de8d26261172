/* VEKmesh: the public C interface of the VEKmesh_64 library.
 *
 * Models cross the boundary as triangle soups: 9 floats of corner coordinates
 * per triangle (x0 y0 z0 x1 y1 z1 x2 y2 z2, the order giving the orientation),
 * optionally 9 colour floats per triangle (0..1 per channel), 6 texture floats
 * per triangle and one 32-bit material per triangle (negative = none; only the
 * low 16 bits are kept). Results come back in arrays that the library
 * allocates and keeps in result slots until one of the free functions below
 * releases them; a later call that fills a slot overwrites it without freeing
 * the earlier array. Calls must not overlap: the slots and the progress target
 * are process-wide. Nothing is thrown across this interface.
 *
 * Conventions used by the comments below:
 * - "model in": corners (9 floats per triangle, never null unless the count is
 *   0), colours (9 floats per triangle or null = white), uvs (6 floats per
 *   triangle; may be null only when no triangle has a material of 0 or more),
 *   materials (one int32 per triangle or null = none), and the count.
 * - "by address": the export is given the address of the caller's array
 *   pointer and the address of its count, and reads the input through them.
 *   The caller's arrays are never kept, changed or freed.
 * - "model out": new arrays of the same layouts (colours as byte / 255, uvs
 *   (0, 0) on untextured corners, materials -1 = none) and the triangle count,
 *   written to whichever out-parameters are non-null. Arrays are allocated
 *   even for 0 triangles. freeAllArray releases them; freeVertexArray releases
 *   the coordinates only. "Coordinates only" means only the coordinate array
 *   is handed out; the colour, texture and material slots are left empty.
 * - progress: an int32 the library writes percentages into during the call
 *   (0 first, 100 last), or null. It is never written after the call returns.
 * - A path is a NUL-terminated byte string; a file that cannot be read or has
 *   an unknown extension gives an empty model (count 0). On Windows a path
 *   that holds a byte above 127 and is valid UTF-8 is read as UTF-8; any other
 *   path is read in the ANSI code page (OEM when the process switched its file
 *   functions to it), as the C runtime's fopen reads it.
 * - Exports that return a flaw answer return 1 for "flawed", 0 otherwise. */
#ifndef VEKMESH_H
#define VEKMESH_H

#include <stdint.h>

/* Calling convention: the platform's default C one. For VEKmesh_64.dll that
 * is the x64 Windows convention, the only one there (__cdecl and __stdcall
 * both mean it, so hosts declare the function pointers either way); on Linux
 * it is the System V AMD64 convention. The names are exported undecorated,
 * exactly as declared here, so GetProcAddress and dlsym find them by these
 * names. */
#if defined(_WIN32)
#if defined(VEKMESH_BUILDING_LIBRARY)
#define VEKMESH_API __declspec(dllexport)
#else
#define VEKMESH_API __declspec(dllimport)
#endif
#else
#define VEKMESH_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- repair and detection ------------------------------------------------ */

/* "Repairs" below means: snap every coordinate to a 1/5000 grid and weld,
 * remove faces that repeat the vertices of an earlier face (only on models of
 * fewer than 300000 faces: larger ones keep their duplicates, hole filling
 * included), make each shell's winding consistent and turned outwards, and
 * close holes of 3 to 1000 boundary vertices with new white faces. */

/* Same as modelRepair64. */
VEKMESH_API void modelRepair(const char* path);

/* Reads the STL file at path, repairs it (hole filling only when no face
 * carries a material) and writes it back to the same path as binary STL. A
 * file that cannot be read or holds no triangles is left as it is. The new
 * file is written beside the old one and renamed over it, so a crash or a
 * full disk never leaves a half-written model in its place. */
VEKMESH_API void modelRepair64(const char* path);

/* Same as flawsDetect64. */
VEKMESH_API int32_t flawsDetect(const char* path, int32_t face_limit);

/* Reads the STL file at path and runs the strict flaw test when face_limit is
 * -1, or when it is 0 or more and the model has at most that many faces.
 * Returns 1 when the test ran and found flaws, else 0 (always 0 below -1). */
VEKMESH_API int32_t flawsDetect64(const char* path, int32_t face_limit);

/* Same as modelRepairFromData64. */
VEKMESH_API void modelRepairFromData(float* const* corners_address, const uint32_t* count_address,
                                     float** corners_out, uint32_t* count_out, int32_t* progress);

/* Reads a model by address (corners only), repairs it (always filling holes)
 * and writes the coordinates only. Progress 0, 30, 70, 100. */
VEKMESH_API void modelRepairFromData64(float* const* corners_address, const uint32_t* count_address,
                                       float** corners_out, uint32_t* count_out, int32_t* progress);

/* Reads a model in with colours, uvs and materials, repairs it (hole filling
 * only when no face carries a material) and writes the model out.
 * Progress 0, 30, 70, 100. */
VEKMESH_API void modelRepairFromColorData(const float* corners, const float* colors,
                                          const float* uvs, const int32_t* materials,
                                          uint32_t count, float** corners_out, float** colors_out,
                                          float** uvs_out, int32_t** materials_out,
                                          uint32_t* count_out, int32_t* progress);

/* As modelRepairFromColorData; then, when `detail` is non-zero, counts the
 * remaining flaws into the four counters (turning inside-out shells outwards
 * on the way, after the model was written out); with `detail` 0 the counters
 * are set to -1. The counters are, in order: faces whose three vertex indices
 * are not all different; open edges (used by one face); non-manifold edges
 * (used by three or more faces); faces turned over because their shell was
 * inside out. Null counter pointers are skipped. Progress 0, 30, 70, 80,
 * 100. */
VEKMESH_API void modelRepairFromColorDataWithPostDetection(
    const float* corners, const float* colors, const float* uvs, const int32_t* materials,
    uint32_t count, float** corners_out, float** colors_out, float** uvs_out,
    int32_t** materials_out, uint32_t* count_out, uint8_t detail, int32_t* first_counter,
    int32_t* second_counter, int32_t* third_counter, int32_t* fourth_counter, int32_t* progress);

/* Reads a model in, thins it when above 100000 faces and writes the model
 * out. Then, when `detail` is non-zero, counts flaws into the four counters
 * as modelRepairFromColorDataWithPostDetection does (otherwise they are -1),
 * and returns the strict flaw test's answer.
 * Progress 0, 50, 65, 75, 80, 100. */
VEKMESH_API int32_t errorDetectAfterMeshReduceFromColorData(
    const float* corners, const float* colors, const float* uvs, const int32_t* materials,
    uint32_t count, float** corners_out, float** colors_out, float** uvs_out,
    int32_t** materials_out, uint32_t* count_out, uint8_t detail, int32_t* first_counter,
    int32_t* second_counter, int32_t* third_counter, int32_t* fourth_counter, int32_t* progress);

/* ---- reduction and preprocessing ------------------------------------------ */

/* Same as meshReduceFromFile64. */
VEKMESH_API void meshReduceFromFile(const char* path, float** corners_out, uint32_t* count_out,
                                    int32_t* progress);

/* Reads the STL file at path, thins it when above 100000 faces (to 100000
 * plus 30 % of the rest, within the bounds of meshReduceFromData) and writes
 * the coordinates only. Progress 0, 5, 48, 50, 65, 75, 80, 100. */
VEKMESH_API void meshReduceFromFile64(const char* path, float** corners_out, uint32_t* count_out,
                                      int32_t* progress);

/* Same as meshPreprocessorFromFile64. */
VEKMESH_API int32_t meshPreprocessorFromFile(const char* path, float** corners_out,
                                             uint32_t* count_out, int32_t* progress);

/* As meshReduceFromFile64, then returns the strict flaw test's answer.
 * Progress 0, 5, 48, 50, 65, 75, 80, 85, 100. */
VEKMESH_API int32_t meshPreprocessorFromFile64(const char* path, float** corners_out,
                                               uint32_t* count_out, int32_t* progress);

/* As meshPreprocessorFromFile64; when `save` is non-zero the thinned model is
 * also written back to path as binary STL (unless the file gave no triangles,
 * in which case it is left as it is), through a temporary file renamed over
 * the original as modelRepair64 does. */
VEKMESH_API int32_t meshPreprocessorFromFileSaveAs64(const char* path, float** corners_out,
                                                     uint32_t* count_out, int32_t* progress,
                                                     uint8_t save);

/* Reads the STL file at path; reduces it towards `ratio` of its faces when
 * ratio is 0 or more; writes the coordinates only. Then runs the flaw test in
 * `check_mode` (0 strict, 1, 2 lenient; -1 means 0) and returns its answer;
 * a mode below -1 skips the test and returns 0. Progress 0, 5, 48, 50, 80,
 * 85, 100. */
VEKMESH_API int32_t meshPreprocessorCtrlFromFile(const char* path, int32_t check_mode, float ratio,
                                                 float** corners_out, uint32_t* count_out,
                                                 int32_t* progress);

/* Reads a model by address, thins it when above 100000 faces, writes the
 * coordinates only and returns the strict flaw test's answer.
 * Progress 0, 50, 65, 75, 80, 85, 100. */
VEKMESH_API int32_t meshPreprocessorFromData(float* const* corners_address,
                                             const uint32_t* count_address, float** corners_out,
                                             uint32_t* count_out, int32_t* progress);

/* Reads a model by address, reduces it towards `ratio` of its faces and
 * writes the coordinates only. No collapse moves the surface by more than
 * 0.05 model units (the mean distance of a merged vertex from the planes of
 * the faces it stands for) or turns a face by more than about 8 degrees
 * (cosine 0.99); a ratio of 0 or below keeps only these bounds and reduces
 * as far as they allow. A closed, two-manifold, consistently wound model
 * stays so; open boundaries stay in place; edges shared by more than two
 * faces are left alone. */
VEKMESH_API void meshReduceFromData(float ratio, float* const* corners_address,
                                    const uint32_t* count_address, float** corners_out,
                                    uint32_t* count_out);

/* Reads a model in, reduces it towards `ratio` of its faces as
 * meshReduceFromData does and writes the model out. Colours, texture
 * coordinates and materials travel with their corners; where they change
 * (material, colour or texture seams) the seam keeps its place.
 * Progress 0, 50, 90, 100. */
VEKMESH_API void meshReduceFromColorData(float ratio, const float* corners, const float* colors,
                                         const float* uvs, const int32_t* materials, uint32_t count,
                                         float** corners_out, float** colors_out, float** uvs_out,
                                         int32_t** materials_out, uint32_t* count_out,
                                         int32_t* progress);

/* ---- refinement ------------------------------------------------------------ */

/* Reads a model by address, subdivides it `level` times and writes the
 * coordinates only.
 *
 * Each round is Loop subdivision with sharp features kept: every triangle
 * becomes four, old vertices move by Loop's weights and new ones are placed
 * between their neighbours, except along creases, which stay sharp: edges
 * whose two face normals differ by more than 30 degrees, open edges, edges of
 * three or more faces or of two faces wound the same way, and edges where the
 * material, the texture coordinates or the corner colours (by more than 1/255)
 * change. A vertex on two creases moves along them (3/4 itself, 1/8 each
 * crease neighbour); one on three or more, or on two that turn there by more
 * than 30 degrees, is a corner and stays, as does a vertex where separate
 * fans of faces meet; a vertex on one crease is smoothed like the others.
 * Points on a crease are the crease edge's midpoint. Flat faces stay flat and
 * a cube stays a cube; closed models stay closed and keep their orientation.
 * Being an average of its neighbours, the smoothed surface lies inside the
 * input (a coarse sphere shrinks a little). A triangle with a coordinate that
 * is not finite is held: its edges count as creases and its vertices stay, so
 * the value spreads to no other triangle.
 *
 * A level of 0 or below returns the model welded, otherwise unchanged. A
 * round that would pass 20,000,000 triangles is not made (the result keeps
 * the rounds made before), so a huge level is safe; at most 48 rounds are
 * made. */
VEKMESH_API void subdivisionFromData(int32_t level, float* const* corners_address,
                                     const uint32_t* count_address, float** corners_out,
                                     uint32_t* count_out);

/* Reads a model in, subdivides it in two passes and writes the model out.
 *
 * The first pass is the subdivision of subdivisionFromData (`level` rounds,
 * creases kept), followed by a rebuild. The second runs up to `level` rounds
 * of colour refinement, moving no vertex: triangles whose corner colours
 * differ by more than 1/255 in a channel, and triangles on a texture seam (an
 * edge of two triangles, one at least textured, whose materials or texture
 * coordinates at a shared corner differ), are split at their longest edge;
 * the split spreads to neighbours as longest-edge bisection requires, so no
 * T-junction and no crack appears, and a triangle becomes at most four. It
 * stops early when nothing is left to split. In both passes new corners take
 * the midpoint of the colours and texture coordinates of their own
 * triangle's two corners (so the two sides of a seam keep their own values)
 * and new triangles inherit the material. The face limit of
 * subdivisionFromData holds for each pass. */
VEKMESH_API void subdivisionFromColorData(int32_t level, const float* corners, const float* colors,
                                          const float* uvs, const int32_t* materials,
                                          uint32_t count, float** corners_out, float** colors_out,
                                          float** uvs_out, int32_t** materials_out,
                                          uint32_t* count_out);

/* Reads a model by address and remeshes it. The index array is also read by
 * address: `*index_address` holds `*index_count_address` int32 indices that
 * guide the remesh (null addresses or a null array mean none). Writes the
 * coordinates only.
 *
 * The indices select the faces to remesh, numbered as the model is built
 * (welded, triangles whose corners coincide dropped). Out-of-range and
 * repeated indices are ignored; faces with a non-finite corner are never
 * remeshed; when no valid index is left (null, empty or all invalid) the
 * whole model is. The selection is remeshed isotropically (Botsch and
 * Kobbelt 2004): five rounds of splitting edges longer than 4/3 of the
 * target, collapsing edges shorter than 4/5 of it, flipping edges towards
 * valence 6 (4 on a boundary) and tangential smoothing projected back onto
 * the selection as it was, then one sweep of flips that raise the smallest
 * angle of an edge's two faces and one more smoothing step; the target is
 * the mean edge length of the selection. Everything outside the selection
 * comes back bit-identical: the selection's border (its vertices and edges)
 * does not move, so no crack opens. Edges whose faces meet at more than 30
 * degrees are feature lines, unless the fold is noise: the faces beside the
 * edge, averaged on each side, meet at 30 degrees or less, or at less than
 * three times the tilt of the roughest of those faces from its side, or the
 * sharp edges connected to it number fewer than four (a box's or a
 * tetrahedron's edges stay). They are split along themselves and shortened
 * along themselves, their vertices never move off them, and their ends and
 * corners (three or more lines, or a bend sharper than 30 degrees) stay in
 * place; open boundaries are feature lines too, and non-manifold edges and
 * vertices stay as they are. Closed selections stay closed, windings are
 * kept. The result has at most 4 times the selected faces plus 1024 (and at
 * most 20 million); splits stop there. Texture coordinates of remeshed faces
 * are not carried over. */
VEKMESH_API void remeshFromData64(float* const* corners_address, const uint32_t* count_address,
                                  float** corners_out, uint32_t* count_out,
                                  int32_t* const* index_address,
                                  const uint32_t* index_count_address);

/* Reads a model by address, welds it again (dropping collapsed triangles and
 * merging coinciding corners) and writes the coordinates only. */
VEKMESH_API void reviseTriangleFromData(float* const* corners_address,
                                        const uint32_t* count_address, float** corners_out,
                                        uint32_t* count_out);

/* ---- analysis ---------------------------------------------------------------- */

/* Chooses the print attitude of the model (corners, count) and writes the
 * rotation as three doubles Rx, Ry, Rz in degrees, each in [0, 360), to
 * angles_out (skipped when null). `mode` 1 weighs the area resting on the
 * plate, 2 avoids building along weak sections. Writes no arrays. */
VEKMESH_API void orientationOptimization(const float* corners, uint32_t count, double* angles_out,
                                         int32_t mode);

/* Finds weak cross-sections of the model (corners, count) and writes their
 * outline polygons: points_out receives x, y, z per point, all polygons one
 * after another; score_bits_out, per polygon, the bit pattern of its section's
 * weakness score (a 32-bit float; copy the bits, do not convert the integer);
 * point_counts_out, per polygon, its number of points; polygon_count_out the
 * number of polygons. The three arrays are released by freeAllArray.
 * Sections are cut in 13 directions; a section is weak when its score is
 * above 0.5. Each section gives its outlines, each outline followed by its
 * holes; points lie on the model's surface in the model's own coordinates.
 * Triangles with NaN or infinite corners are left out; a model lower than 5
 * units in every direction gives no polygons.
 * Progress 0, 10, a value per direction up to 90, 90, 100. */
VEKMESH_API void weaknessDetect(const float* corners, uint32_t count, float** points_out,
                                uint32_t** score_bits_out, int32_t** point_counts_out,
                                int32_t* polygon_count_out, int32_t* progress);

/* Previews the balancing of the model (corners, count). `parameters` is the
 * caller's float parameter block; first_flags and second_flags are byte
 * arrays handed to the preview (either may be null). preview_out receives the
 * preview geometry, 9 floats per triangle, and preview_count_out its triangle
 * count; the array is released by freeBalancingPreviewArray or freeAllArray.
 * Returns the preview's result (0 when there is nothing to show). */
VEKMESH_API int32_t balancingPreviewFromData(const float* parameters, const float* corners,
                                             uint32_t count, uint8_t* first_flags,
                                             uint8_t* second_flags, float** preview_out,
                                             uint32_t* preview_count_out);

/* Balances the model (corners, count) with `parameter` and writes its
 * coordinates and count. The colour, texture and material arrays stay in
 * their slots until freeAllArray. Writes progress 10, 90, 100 to the target
 * of the last call that took a progress argument (that target is the
 * library's own dummy by then). */
VEKMESH_API void balancingFromData(double parameter, const float* corners, uint32_t count,
                                   float** corners_out, uint32_t* count_out);

/* ---- design -------------------------------------------------------------------- */

/* Voxelises the model (corners, colours, count) with cubes of edge
 * voxel_size (model units) and writes the closed mesh of the exposed voxel
 * faces: coordinates and colours (texture and material arrays are
 * released); each face has the colour of the first corner of the last input
 * triangle that reached its voxel. Only the outer skin is written: walls of
 * enclosed cavities and loose groups of fewer than 20 voxel faces are
 * dropped. Voxels touching only along an edge or at a corner share those
 * edges and vertices in the result. Voxel keys cover about 800 voxels across
 * x and y; wider models give misplaced cells rather than an error. When no
 * face remains the model is returned as it came in. A voxel_size that is
 * not a finite positive number, or one so small that more than 20 million
 * voxels or 40 million triangles would be needed, gives 0 triangles. Does
 * not write progress. */
VEKMESH_API void voxelize(float voxel_size, const float* corners, const float* colors,
                          uint32_t count, float** corners_out, float** colors_out,
                          uint32_t* count_out);

/* Computes the core that can be taken out of the model (corners, count,
 * closed and outward) leaving walls of about wall_thickness (model units),
 * and writes the core's surface as coordinates only, wound out of the core
 * (turn it over to use it as the cavity). The voxel size follows from the
 * model's volume V: (V / 1.2e6)^0.33 clamped to 0.4 .. 2.0; the wall is
 * trunc((wall_thickness - 0.5) / size + 1) voxel layers. The core is cleaned
 * of voxel contacts (closed and two-manifold, with coincident copies of the
 * vertices where voxels touch at an edge or corner) and reduced. When fewer
 * than 100 voxels are left (a thin model, a wall thicker than half the
 * model, a negative or NaN wall, too many voxels) 0 triangles are written.
 * Progress 0, 10, 10, 30, 40, 50, 60, then 70, 80, 85 when a core was made,
 * then 90, 100. */
VEKMESH_API void hollowFromData(float wall_thickness, const float* corners, uint32_t count,
                                float** corners_out, uint32_t* count_out, int32_t* progress);

/* Fills the model (corners, count) with a cellular lattice, given its infill
 * density and surface thickness, and writes the coordinates only.
 * Progress 0, 10, 90, 100. */
VEKMESH_API void cellularInfillFromData(double infill_density, float surface_thickness,
                                        const float* corners, uint32_t count, float** corners_out,
                                        uint32_t* count_out, int32_t* progress);

/* Previews a lampshade of wall_thickness for the model (corners, count):
 * points_out receives x, y, z per point of every outline, all at the base
 * height; point_counts_out the points per outline; polygon_count_out the
 * number of outlines; labels_out, per outline, 0 for a base outline and 1 for
 * an inner outline. Returns 1 when outlines were produced, else 0; when the
 * preview ends early the count is 0 and the three pointers are null. The
 * arrays are released by freeAllArray. */
VEKMESH_API int32_t lampshadePreview(float wall_thickness, const float* corners, uint32_t count,
                                     float** points_out, int32_t** point_counts_out,
                                     int32_t* polygon_count_out, int32_t** labels_out);

/* Turns the model in (a negative count is empty) into a lampshade of
 * wall_thickness (model units) and writes the model out: the model's own
 * surface, coloured and textured as given, with an inner wall about
 * wall_thickness inside it (coloured white at the base to soft orange at the
 * top), cut flat and open at the base. A thickness that is NaN, 0 or
 * negative, or one that leaves too little of the model, writes the model
 * back unchanged. The four arrays are released by freeAllArray. Progress 0,
 * 10, 90, 100. */
VEKMESH_API void lampshadeFromData(float wall_thickness, const float* corners, const float* colors,
                                   const float* uvs, const int32_t* materials, int32_t count,
                                   float** corners_out, float** colors_out, float** uvs_out,
                                   int32_t** materials_out, uint32_t* count_out, int32_t* progress);

/* Previews a decomposition of the model (corners, count) by cut_count cuts:
 * the cut outlines as points_out (x, y, z per point), point_counts_out,
 * polygon_count_out and labels_out (per outline, the index of its cut). The
 * arrays are released by freeDecompositionPreviewArray or freeAllArray.
 * Writes progress 0 to the current target. */
VEKMESH_API void decompositionUniformPreview(int32_t cut_count, const float* corners,
                                             uint32_t count, float** points_out,
                                             int32_t** point_counts_out, int32_t* polygon_count_out,
                                             int32_t** labels_out);

/* As decompositionUniformPreview with the cuts chosen automatically. */
VEKMESH_API void decompositionAutoPreview(const float* corners, uint32_t count, float** points_out,
                                          int32_t** point_counts_out, int32_t* polygon_count_out,
                                          int32_t** labels_out);

/* Cuts the model in into printable pieces by cut_count cuts and writes them
 * one after another as a model out, with piece_counts_out (triangles per
 * piece) and piece_count_out. output_setting is handed to the piece output
 * step, decomposition_setting to the decomposition. The per-piece counts are
 * released by freeAllArray. Progress 0, 10, 90, 100. */
VEKMESH_API void decompositionUniformFromData(
    int32_t cut_count, int32_t output_setting, int32_t decomposition_setting, const float* corners,
    const float* colors, const float* uvs, const int32_t* materials, uint32_t count,
    float** corners_out, float** colors_out, float** uvs_out, int32_t** materials_out,
    uint32_t** piece_counts_out, uint32_t* piece_count_out, int32_t* progress);

/* As decompositionUniformFromData with the cuts chosen automatically. */
VEKMESH_API void decompositionAutoFromData(int32_t output_setting, int32_t decomposition_setting,
                                           const float* corners, const float* colors,
                                           const float* uvs, const int32_t* materials,
                                           uint32_t count, float** corners_out, float** colors_out,
                                           float** uvs_out, int32_t** materials_out,
                                           uint32_t** piece_counts_out, uint32_t* piece_count_out,
                                           int32_t* progress);

/* Splits the model in into parts (one per shell; shells passing through one
 * another stay together) and writes them one after another as a model out,
 * with shell_counts_out (triangles per part) and shell_count_out.
 * Progress 0, 10, 80, 100. */
VEKMESH_API void separateFromData(const float* corners, const float* colors, const float* uvs,
                                  const int32_t* materials, uint32_t count, float** corners_out,
                                  float** colors_out, float** uvs_out, int32_t** materials_out,
                                  uint32_t** shell_counts_out, uint32_t* shell_count_out,
                                  int32_t* progress);

/* ---- files ------------------------------------------------------------------------ */

/* Reads the file at path by its extension (stl, obj, wrl, x3d, igs, iges, stp,
 * step; exact case) and writes the model out. STEP and IGES go through the
 * converter library, as for importFileStep below; their models carry white
 * corners and no materials. */
VEKMESH_API void importFile(const char* path, float** corners_out, float** colors_out,
                            float** uvs_out, int32_t** materials_out, uint32_t* count_out);

/* As importFile; names_out receives a new array of name_count_out
 * NUL-terminated strings (the names the VRML/X3D reader collected), released
 * with everything else by freeAllArray. */
VEKMESH_API void importFileVRML(const char* path, float** corners_out, float** colors_out,
                                float** uvs_out, int32_t** materials_out, uint32_t* count_out,
                                char*** names_out, uint32_t* name_count_out);

/* Reads the file at path by its extension, so an .stp path is read as STEP
 * whichever of the two names is called, and writes the coordinates only.
 * importFileIges and importFileStep are one function.
 *
 * STEP (stp, step) and IGES (igs, iges) files are tessellated by the
 * converter library VEKmeshconverter64 (libVEKmeshconverter64.so), loaded for
 * each CAD import from the folder of this library first, then from the
 * system's library search path (it stays loaded once loaded); without it,
 * or when it cannot read the file, the model is empty (count 0). The converter shipped with this
 * library reads every solid, shell and loose face (assemblies with their placements) in
 * millimetres, sews loose faces at 1e-5 of the model's bounding-box diagonal, meshes at a linear
 * deflection of 0.1 % of that diagonal and 0.5 rad, and winds closed parts outward; it works in a
 * child process limited to a minute plus a minute per megabyte of file. The Windows build ships no
 * converter: CAD files give empty models there. */
VEKMESH_API void importFileIges(const char* path, float** corners_out, uint32_t* count_out);
VEKMESH_API void importFileStep(const char* path, float** corners_out, uint32_t* count_out);

/* Writes the model in to path as glTF 2.0. image_paths holds image_count
 * NUL-terminated paths, the image of material m at index m (null = none).
 * A path ending in ".glb" (any case) gives one binary file with the PNG and
 * JPEG images embedded; any other path gives JSON with a buffer file of the
 * same stem and the extension ".bin" beside it, and images referred to by
 * URIs relative to the output's folder (an image that does not exist is still
 * referred to). One mesh with one primitive per material, by ascending
 * material; triangles without a material (-1) form their own primitive with
 * no material. Vertices are shared where position, colour and texture
 * coordinate agree. Colours are written (as bytes) only when some corner is
 * not white. Texture coordinates are written for materials 0 and up with v
 * flipped to glTF's convention (v_gltf = 1 - v: glTF's v runs down the
 * image). Every material from 0 to the largest used is written, named
 * "material_<m>", not metallic, with the image as its base colour texture.
 * Triangles with a non-finite corner are left out. Nothing is returned; when
 * any file cannot be written completely, nothing new is left at path or
 * beside it. */
VEKMESH_API void exportFileGLTF(const char* path, const float* corners, const float* colors,
                                const float* uvs, const int32_t* materials, uint32_t count,
                                const char* const* image_paths, uint32_t image_count);

/* Writes a double-precision model (9 corner doubles, 9 colour doubles and 6
 * uv doubles per triangle, int32 materials; a negative count is empty) to
 * path as OBJ with colours, texture coordinates and material groups. */
VEKMESH_API void saveasObjFromDataDoublePrecision(const char* path, const double* corners,
                                                  const double* colors, const double* uvs,
                                                  const int32_t* materials, int32_t count);

/* ---- release ------------------------------------------------------------ */

/* Releases every result slot (coordinates, colours, texture coordinates,
 * materials, per-piece counts, section arrays, previews, scene names) and
 * nulls it. Harmless when nothing was returned or when called twice. */
VEKMESH_API void freeAllArray(void);

/* Releases only the corner-coordinate slot; the colour, texture and material
 * arrays stay valid until freeAllArray. */
VEKMESH_API void freeVertexArray(void);

/* Releases the three decomposition-preview slots. */
VEKMESH_API void freeDecompositionPreviewArray(void);

/* Releases the balancing-preview slot. */
VEKMESH_API void freeBalancingPreviewArray(void);

#ifdef __cplusplus
}
#endif

#endif /* VEKMESH_H */
