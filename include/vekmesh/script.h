/* VEKmesh scripting interface: the C API of libvekmesh, for scripts and
 * programs that run mesh work in parallel.
 *
 * Unlike the VEKmesh_64 exports (vekmesh.h), this interface keeps no state
 * between calls and none shared between threads: a model lives in an opaque
 * handle (vkm_mesh) that the caller creates and frees, every call takes what
 * it works on as arguments, and results go into the handle, into structs the
 * caller passes or into arrays whose ownership each function states. Calls on
 * different handles may run at the same time on different threads; calls on
 * one handle must not overlap (a handle read by several threads at once, with
 * no call changing it, is fine). Nothing is thrown across this interface.
 *
 * Conventions used by the comments below:
 * - Every function that can fail returns an int32_t status: VKM_OK (0) or one
 *   of the codes below; vkm_status_message gives its text. On failure, the
 *   out-parameters are left as they were, except that a *out handle pointer is
 *   set to null, and an operation on a handle leaves the handle as it was
 *   (every operation works on a copy and swaps it in on success).
 * - Models are triangle soups at the boundary: 9 floats of corner coordinates
 *   per triangle (x0 y0 z0 x1 y1 z1 x2 y2 z2, the order giving the
 *   orientation); optionally 9 colour floats per triangle (R G B per corner,
 *   0..1), 6 texture floats per triangle (u v per corner) and one int32
 *   material per triangle (negative = none; above 32767 is an invalid
 *   argument).
 *   Inside a handle, corners are welded when their bit patterns agree, and
 *   triangles whose corners weld together are dropped.
 * - run: a vkm_run (below) or null for "no progress, no cancelling, no
 *   message".
 * - Options structs: null means every default; vkm_*_defaults fills one with
 *   the defaults, so that a caller changes only what it means to.
 * - A path is a NUL-terminated UTF-8 byte string; the format is chosen by its
 *   extension in any case. */
#ifndef VEKMESH_SCRIPT_H
#define VEKMESH_SCRIPT_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(VKM_BUILDING_LIBRARY)
#define VKM_API __declspec(dllexport)
#else
#define VKM_API __declspec(dllimport)
#endif
#else
#define VKM_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- status codes --------------------------------------------------------- */

enum {
  VKM_OK = 0,
  VKM_INVALID_ARGUMENT = 1, /* a null handle or array, a count out of range, a bad option */
  VKM_CANCELLED = 2,        /* the progress callback returned non-zero */
  VKM_OUT_OF_MEMORY = 3,
  VKM_FILE_ERROR = 4,       /* missing, unreadable or unwritable file, unknown extension */
  VKM_EMPTY_RESULT = 5,     /* the input or the result holds no triangles */
  VKM_NOT_AVAILABLE = 6,    /* the operation is not offered by this build */
  VKM_INTERNAL_ERROR = 7,   /* anything else the library caught */
  VKM_BUFFER_TOO_SMALL = 8, /* a caller's array holds fewer triangles than the mesh */
};

/* A static, NUL-terminated English text for `status` ("unknown status" for a
 * value not listed above); never null, never freed. */
VKM_API const char* vkm_status_message(int32_t status);

/* The library's version, "major.minor.patch"; static. */
VKM_API const char* vkm_version(void);

/* ---- the run of one call: progress, cancel, message ------------------------ */

/* Called on the calling thread with whole percentages 0..100 of the call (0
 * first, 100 last on success; values may repeat). Within a long step between
 * two marks it is called again with the last percentage, about ten times a
 * second. Returning non-zero cancels the call: it returns VKM_CANCELLED soon
 * after (at the next mark or checkpoint of the step, well under a second on
 * a million triangles) and the handle is left as it was. `user` is
 * vkm_run.user. */
typedef int32_t (*vkm_progress_fn)(int32_t percent, void* user);

typedef struct vkm_run {
  vkm_progress_fn progress; /* null = no progress and no cancelling */
  void* user;               /* handed to `progress` as it is */
  /* Written by the call: on failure a NUL-terminated message saying what and
   * where (for example which file and why), on success an empty string. */
  char message[512];
  /* Threads for the call's parallel loops, the calling thread included, at
   * most one per core; 0 (or a negative value) for what the calling thread
   * would use anyway (OMP_NUM_THREADS, or every core). Read when the call starts
   * and again after each progress callback, so that a host running several
   * calls at once can share the cores out as calls start and end. Results do
   * not depend on it. Zero the whole struct before filling it. */
  int32_t threads;
} vkm_run;

/* ---- mesh handles ---------------------------------------------------------- */

typedef struct vkm_mesh vkm_mesh;

/* Builds a handle from a soup of `count` triangles, copying the arrays (none
 * is kept). corners: 9 * count floats, not null unless count is 0. colors,
 * uvs, materials: null for white, no texture, no material. uvs may be null
 * only if no material is 0 or more (VKM_INVALID_ARGUMENT otherwise). count must be below 2^31. On
 * success *out is a new handle the caller frees with vkm_mesh_free. A NaN or infinite coordinate is
 * accepted as given (such triangles count as flawed). */
VKM_API int32_t vkm_mesh_from_arrays(const float* corners, const float* colors, const float* uvs,
                                     const int32_t* materials, uint64_t count, vkm_mesh** out);

/* Loads a model file into a new handle: stl (binary or ASCII), obj, ply, 3mf,
 * wrl, wrz, x3d, x3dz, and igs/iges/stp/step when the STEP/IGES converter
 * library is installed beside the library. VKM_FILE_ERROR when the file is
 * missing, unreadable or of an unknown extension; VKM_EMPTY_RESULT when it
 * holds no triangles. Progress: the reader's. */
VKM_API int32_t vkm_mesh_load(const char* path, vkm_run* run, vkm_mesh** out);

/* Writes the handle's triangles to `path` in the format of its extension: stl
 * (binary), obj, ply, 3mf, gltf (with its .bin beside it) or glb. The file is
 * written under a temporary name and renamed, so a failure leaves nothing
 * at `path`. */
VKM_API int32_t vkm_mesh_save(const vkm_mesh* mesh, const char* path, vkm_run* run);

/* A new handle holding a copy of `mesh`; the caller frees both. */
VKM_API int32_t vkm_mesh_copy(const vkm_mesh* mesh, vkm_mesh** out);

/* Releases a handle; null is allowed. */
VKM_API void vkm_mesh_free(vkm_mesh* mesh);

/* Triangles in the handle (0 for null). */
VKM_API uint64_t vkm_mesh_triangle_count(const vkm_mesh* mesh);

/* Copies the handle's triangles into the caller's arrays, each sized for
 * `capacity` triangles in the layouts above, each may be null (not written).
 * Colours come out as byte / 255, texture coordinates (0, 0) on untextured
 * corners, materials -1 for none. VKM_BUFFER_TOO_SMALL (nothing written)
 * when capacity is below vkm_mesh_triangle_count. */
VKM_API int32_t vkm_mesh_copy_out(const vkm_mesh* mesh, float* corners, float* colors, float* uvs,
                                  int32_t* materials, uint64_t capacity);

/* The same into arrays the library allocates (all four, each at least one
 * element long even for 0 triangles); release them with one call of
 * vkm_arrays_free. */
typedef struct vkm_arrays {
  uint64_t count;
  float* corners;
  float* colors;
  float* uvs;
  int32_t* materials;
} vkm_arrays;
VKM_API int32_t vkm_mesh_to_arrays(const vkm_mesh* mesh, vkm_arrays* out);

/* Frees the four arrays of `arrays` and sets them to null; null and already
 * freed structs are allowed. */
VKM_API void vkm_arrays_free(vkm_arrays* arrays);

/* ---- census: the flaw counts and the printable verdict --------------------- */

typedef struct vkm_census_options {
  /* Search closed shells for pairs passing through one another (costs time on
   * models of many shells). Default 1. */
  int32_t find_intersections;
} vkm_census_options;
VKM_API void vkm_census_defaults(vkm_census_options* options);

/* Counts are exact: every edge and shell counts once. Edges are pairs of
 * welded vertices; "open" has one face, "non-manifold" more than two,
 * "mis-oriented" two running it the same way. */
typedef struct vkm_census {
  uint64_t triangles, vertices;
  uint64_t open_edges, non_manifold_edges, misoriented_edges;
  uint64_t repeated_vertex_faces, duplicate_faces;
  uint64_t shells, closed_shells, solids, cavities, inside_out_shells, zero_volume_parts;
  int64_t intersecting_pairs; /* -1 when not searched */
  double volume;              /* signed, of every face */
  double area;
  float lower[3], upper[3]; /* bounds of the triangles' corners; zeros when empty */
  int32_t watertight;       /* closed, every edge of two faces running it oppositely */
  int32_t printable;        /* no flaw of any kind above (and no intersecting pair) */
  /* The host flaw test (the exports' printability test): strict, orientation
   * ignored, lenient; 1 = flawed. And its post-detection counters: faces with
   * a repeated vertex, open edges, non-manifold edges, faces of shells whose
   * top faces point down. */
  int32_t host_flawed[3];
  int32_t host_counters[4];
  /* "printable", or "not printable: " and the reasons ("3 open edges, 1
   * inside-out shell"), cut to fit. */
  char verdict[256];
} vkm_census;

/* Reads the mesh; changes nothing. */
VKM_API int32_t vkm_census_take(const vkm_mesh* mesh, const vkm_census_options* options,
                                vkm_run* run, vkm_census* out);

/* ---- repair ---------------------------------------------------------------- */

typedef struct vkm_repair_options {
  /* 0 (default): the thorough repair (tolerance weld, needle collapse,
   * coincident faces, sheet pairing, orientation by geometry and nesting, hole
   * filling, outward turn). 1: the described pipeline of the VEKmesh_64
   * repair exports (snap, duplicates, winding, hole filling), which gives the
   * same triangles as modelRepairFromColorData. */
  int32_t described;
  /* Thorough only: if the repair would add a flaw the census counts (open,
   * non-manifold, mis-oriented edges, repeated or duplicate faces, inside-out
   * shells), keep the mesh as it was. Default 1. */
  int32_t never_worse;
} vkm_repair_options;
VKM_API void vkm_repair_defaults(vkm_repair_options* options);

/* Repairs the handle in place. `kept`, when not null, gets 1 when never_worse
 * kept the mesh as it was, 0 otherwise. */
VKM_API int32_t vkm_repair(vkm_mesh* mesh, const vkm_repair_options* options, vkm_run* run,
                           int32_t* kept);

/* ---- other operations ------------------------------------------------------ */

typedef struct vkm_reduce_options {
  double ratio;      /* share of triangles to keep, 0..1; default 0.5 */
  double max_error;  /* largest surface deviation, model units; default 0.05 */
  double min_cosine; /* smallest cosine between a face's normal before and after; 0.99 */
} vkm_reduce_options;
VKM_API void vkm_reduce_defaults(vkm_reduce_options* options);
/* Reduces the triangle count in place (quadric error collapses). */
VKM_API int32_t vkm_reduce(vkm_mesh* mesh, const vkm_reduce_options* options, vkm_run* run);

typedef struct vkm_subdivide_options {
  int32_t level;  /* rounds, 1..4; default 1 */
  int32_t colour; /* 1: then refine colour boundaries and texture seams; default 0 */
} vkm_subdivide_options;
VKM_API void vkm_subdivide_defaults(vkm_subdivide_options* options);
/* Smooth subdivision keeping creases, in place (4^level times the faces). */
VKM_API int32_t vkm_subdivide(vkm_mesh* mesh, const vkm_subdivide_options* options, vkm_run* run);

typedef struct vkm_orient_options {
  int32_t mode; /* 0 overhang only, 1 (default) with a contact-area term, 2 with weak sections */
} vkm_orient_options;
VKM_API void vkm_orient_defaults(vkm_orient_options* options);
/* Turns and moves the mesh in place into the print orientation found and
 * writes the rotation Rx, Ry, Rz in degrees (applied x, then y, then z, about
 * the origin, before the move onto the plate) to `angles` (3 doubles; null =
 * not written). */
VKM_API int32_t vkm_orient(vkm_mesh* mesh, const vkm_orient_options* options, vkm_run* run,
                           double* angles);

/* Splits the mesh into its edge-connected shells: *pieces gets a new array of
 * *count new handles (one per shell, in shell order) that the caller frees
 * with vkm_pieces_free. The mesh itself is not changed. */
VKM_API int32_t vkm_separate(const vkm_mesh* mesh, vkm_run* run, vkm_mesh*** pieces,
                             uint64_t* count);
/* Frees every handle of the array and the array; null is allowed. */
VKM_API void vkm_pieces_free(vkm_mesh** pieces, uint64_t count);

typedef struct vkm_remesh_options {
  /* The faces to remesh (indices into the mesh's triangles in the order
   * vkm_mesh_copy_out gives them), or null for all. Out-of-range and repeated
   * entries are ignored; when no valid entry is left, every face is remeshed.
   * Default null, 0. */
  const int32_t* faces;
  uint64_t face_count;
} vkm_remesh_options;
VKM_API void vkm_remesh_defaults(vkm_remesh_options* options);
/* Isotropic remeshing of the selection in place: five rounds of splits,
 * collapses, flips and smoothing towards the selection's mean edge length,
 * the points kept on the input surface; the rest of the mesh as it was. */
VKM_API int32_t vkm_remesh(vkm_mesh* mesh, const vkm_remesh_options* options, vkm_run* run);

/* ---- design: voxels, hollowing, lampshades ---------------------------------- */

typedef struct vkm_voxelize_options {
  float voxel_size; /* edge of a voxel, model units; default 1.0 */
} vkm_voxelize_options;
VKM_API void vkm_voxelize_defaults(vkm_voxelize_options* options);
/* Replaces the mesh by the surface of its voxel model (two triangles per
 * exposed voxel face, voxel contacts split so that the result is closed and
 * two-manifold). VKM_EMPTY_RESULT when no voxel face remains (the model is
 * thinner than about two voxels everywhere), VKM_INVALID_ARGUMENT when the
 * size is not positive or would need more than 20 million voxels. */
VKM_API int32_t vkm_voxelize(vkm_mesh* mesh, const vkm_voxelize_options* options, vkm_run* run);

typedef struct vkm_hollow_options {
  float wall; /* wall thickness, model units; default 2.0 */
} vkm_hollow_options;
VKM_API void vkm_hollow_defaults(vkm_hollow_options* options);
typedef struct vkm_hollow_report {
  float voxel_size;
  int32_t wall_layers;
  double model_volume, hollow_volume; /* cubic units */
} vkm_hollow_report;
/* Adds the inner surface of a wall of the given thickness (wound inwards) to
 * the closed mesh, leaving it hollow. VKM_EMPTY_RESULT when fewer than 100
 * voxels remain inside (open, or thinner than twice the wall). `report`, when
 * not null, gets what hollowing measured. */
VKM_API int32_t vkm_hollow(vkm_mesh* mesh, const vkm_hollow_options* options, vkm_run* run,
                           vkm_hollow_report* report);

typedef struct vkm_lampshade_options {
  float wall; /* wall thickness, model units; default 2.0 */
} vkm_lampshade_options;
VKM_API void vkm_lampshade_defaults(vkm_lampshade_options* options);
/* Replaces the mesh by a lampshade: its surface with the inner wall the
 * voxel core leaves, cut flat at the base. VKM_EMPTY_RESULT when no shade
 * fits (not closed, no base, or thinner than twice the wall). */
VKM_API int32_t vkm_lampshade(vkm_mesh* mesh, const vkm_lampshade_options* options, vkm_run* run);

/* Polygons handed out: point_counts[i] points of polygon i, one after
 * another in `points` (x y z each); labels[i] and groups[i] say what each
 * polygon is (see the function). Arrays are library-allocated (at least one
 * element each) and released by one vkm_outlines_free. */
typedef struct vkm_outlines {
  uint64_t polygon_count;
  int32_t* point_counts;
  int32_t* labels;
  int32_t* groups;
  float* points;
} vkm_outlines;
VKM_API void vkm_outlines_free(vkm_outlines* outlines);

/* The lampshade's preview, without changing the mesh: the base outlines (label
 * 0) and the inner outlines the wall leaves there (label 1), at the base
 * height; groups[i] is i. `fits` gets 1 when a shade fits (the model is at
 * least 15 units high and a base is wide enough for the wall and 2 units
 * more), 0 otherwise (and then there may be no polygon). */
VKM_API int32_t vkm_lampshade_preview(const vkm_mesh* mesh, const vkm_lampshade_options* options,
                                      vkm_run* run, vkm_outlines* out, int32_t* fits);

/* ---- analysis: weak sections -------------------------------------------------- */

typedef struct vkm_weak_sections_options {
  float change_ratio; /* area change between neighbouring sections that marks one; 0.5 */
  int32_t axes_only;  /* 1: the three axes only, the highest tenth of each; default 0 (13
                         directions, a section is weak when it scores above 0.5) */
} vkm_weak_sections_options;
VKM_API void vkm_weak_sections_defaults(vkm_weak_sections_options* options);
/* The weak cross-sections of the mesh, without changing it. `outlines` gets
 * their polygons in the mesh's own coordinates: labels[i] is the section
 * polygon i belongs to; groups[i] numbers the outline groups over the whole
 * result, the first polygon of a group being its outer outline and the others
 * its holes. `count` gets the number of sections; `scores` (1 per section)
 * and `directions` (3 doubles per section, not normalised) are
 * library-allocated and released by vkm_sections_free along with the
 * outlines. */
typedef struct vkm_sections {
  uint64_t count;
  float* scores;
  double* directions;
  vkm_outlines outlines;
} vkm_sections;
VKM_API int32_t vkm_weak_sections(const vkm_mesh* mesh, const vkm_weak_sections_options* options,
                                  vkm_run* run, vkm_sections* out);
VKM_API void vkm_sections_free(vkm_sections* sections);

#ifdef __cplusplus
}
#endif

#endif /* VEKMESH_SCRIPT_H */
