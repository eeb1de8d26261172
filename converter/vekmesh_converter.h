/* The STEP/IGES converter library VEKmeshconverter64: its three C exports.
 * The main library loads it at run time and calls nothing else.
 *
 * What the converter does with a file, and the choices it makes:
 * - Every solid, every shell outside a solid and every face outside a shell
 *   of the file is read, assemblies included: each instance lands where its
 *   placements put it. Lengths come out in millimetres whatever the file's
 *   unit. Of an IGES file only the visible entities are read: blanked ones
 *   are construction geometry the part does not show.
 * - Faces outside any shell (an IGES part usually arrives as loose trimmed
 *   surfaces) are sewn first, at a tolerance of 1e-5 of the model's
 *   bounding-box diagonal, so that surfaces meeting at an edge share it and
 *   their triangles share its points.
 * - Tessellation: a linear deflection of 0.1 % of the diagonal of the
 *   model's bounding box and an angular deflection of 0.5 rad, meshed in
 *   parallel. Small parts of a large assembly are therefore meshed at the
 *   assembly's scale, but never coarser than the angular limit allows.
 * - Triangles are wound by their face's orientation, and a closed solid or
 *   shell whose triangles enclose a negative volume is turned over as a
 *   whole, so closed parts come out closed and outward. Open parts keep the
 *   winding of their faces.
 * - The reading and meshing run in a child process (POSIX fork), because
 *   OpenCASCADE's readers can crash on a malformed file: the host never
 *   sees a crash, and the child is killed after a minute plus a minute per
 *   megabyte of file, and may allocate 2 GiB plus 512 bytes per byte of
 *   file beyond what the host held when it was made. The child runs no handler of the host's and
 * leaves by _exit. A host that uses OpenCASCADE or TBB from other threads while it calls the
 * converter must know that the child starts with a copy of their state.
 * - OpenCASCADE's messages (its readers print statistics) are kept off the
 *   host's standard output.
 * - Only regular files are read. Any failure (unreadable file, no surfaces,
 *   an exception, a crash, a limit reached) gives the empty result: a null
 *   array and a count of 0. Nothing is thrown across these functions.
 *
 * Both import functions take a NUL-terminated narrow path and two
 * out-parameters, and write 9 floats per triangle (corner 0 x y z, corner 1,
 * corner 2, counter-clockwise seen from outside) and the triangle count. The
 * arrays stay owned by the converter: every array handed out stays valid
 * until vekmeshcvtFreeAllArray, which releases all of them at once. Calls
 * must not overlap (the main library makes one at a time). */
#ifndef VEKMESH_CONVERTER_H
#define VEKMESH_CONVERTER_H

#include <stdint.h>

#if defined(_WIN32)
#define VEKMESHCVT_API __declspec(dllexport)
#else
#define VEKMESHCVT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Reads and tessellates the STEP file at path. Null out-parameters are
 * skipped. */
VEKMESHCVT_API void vekmeshcvtImportStepFile(const char* path, float** corners_out,
                                             uint32_t* count_out);

/* The same for an IGES file. */
VEKMESHCVT_API void vekmeshcvtImportIgesFile(const char* path, float** corners_out,
                                             uint32_t* count_out);

/* Releases every array the two functions above have handed out. Harmless
 * when there are none. */
VEKMESHCVT_API void vekmeshcvtFreeAllArray(void);

#ifdef __cplusplus
}
#endif

#endif /* VEKMESH_CONVERTER_H */
