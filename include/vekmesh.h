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
 * are process-wide. Nothing is thrown across this interface. */
#ifndef VEKMESH_H
#define VEKMESH_H

#include <stdint.h>

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

/* ---- release ------------------------------------------------------------ */

/* Releases every result slot (coordinates, colours, texture coordinates,
 * materials, per-piece counts, section arrays, previews) and nulls it.
 * Harmless when nothing was returned or when called twice. */
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
