/* The library as a host application sees it: loaded with dlopen (LoadLibrary
 * on Windows), its 46 exports resolved by name (typed from the public header,
 * so a signature that drifts from the header fails to compile here), and the
 * calling contract checked from C: progress ends at 100 and is never written
 * after the call, result slots are overwritten without freeing and released by
 * the free functions, empty input gives empty but real arrays, attributes
 * round-trip, no log file is left behind, and the library stays mapped after
 * it is unloaded. Runs in a scratch directory of its own. */
#define _POSIX_C_SOURCE 200809L

#include <dirent.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vekmesh.h"

/* ---- the loader: dlopen here, LoadLibrary/GetProcAddress on Windows -------- */
#ifdef _WIN32
#include <direct.h>
#include <io.h>
#include <windows.h>

typedef HMODULE Library;
static Library loadLibrary(const char* path, int keep) {
  (void)keep;
  return LoadLibraryA(path);
}
static void* findExport(Library library, const char* name) {
  return (void*)GetProcAddress(library, name);
}
static void unloadLibrary(Library library) {
  FreeLibrary(library);
}
static const char* loadError(void) {
  static char message[32];
  snprintf(message, sizeof message, "error %lu", (unsigned long)GetLastError());
  return message;
}
/* Whether the library is still mapped, without loading it again. */
static int stillLoaded(const char* path) {
  return GetModuleHandleA(path) != NULL;
}
static void pauseBriefly(void) {
  Sleep(300);
}
static int makeScratch(char* dir, size_t size) {
  char base[MAX_PATH];
  const DWORD n = GetTempPathA(sizeof base, base);
  if (n == 0 || n >= sizeof base) return 0;
  snprintf(dir, size, "%svekmesh_host_XXXXXX", base);
  return _mktemp_s(dir, strlen(dir) + 1) == 0 && _mkdir(dir) == 0;
}
#else
#include <dlfcn.h>
#include <time.h>

typedef void* Library;
static Library loadLibrary(const char* path, int keep) {
  return dlopen(path, RTLD_NOW | RTLD_LOCAL | (keep ? RTLD_NODELETE : 0));
}
static void* findExport(Library library, const char* name) {
  return dlsym(library, name);
}
static void unloadLibrary(Library library) {
  dlclose(library);
}
static const char* loadError(void) {
  return dlerror();
}
static int stillLoaded(const char* path) {
  void* again = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (again) dlclose(again);
  return again != NULL;
}
static void pauseBriefly(void) {
  const struct timespec wait = {0, 300000000};
  nanosleep(&wait, NULL);
}
static int makeScratch(char* dir, size_t size) {
  snprintf(dir, size, "/tmp/vekmesh_host_XXXXXX");
  return mkdtemp(dir) != NULL;
}
#endif

/* clang-format off */
#define VEKMESH_EXPORTS(X)                                                                    \
  X(modelRepair) X(modelRepair64) X(modelRepairFromData) X(modelRepairFromData64)             \
  X(modelRepairFromColorData) X(modelRepairFromColorDataWithPostDetection) X(flawsDetect)     \
  X(flawsDetect64) X(errorDetectAfterMeshReduceFromColorData) X(weaknessDetect)               \
  X(meshReduceFromFile) X(meshReduceFromFile64) X(meshReduceFromData)                         \
  X(meshReduceFromColorData) X(meshPreprocessorFromFile) X(meshPreprocessorFromFile64)        \
  X(meshPreprocessorFromFileSaveAs64) X(meshPreprocessorCtrlFromFile)                         \
  X(meshPreprocessorFromData) X(subdivisionFromData) X(subdivisionFromColorData)              \
  X(remeshFromData64) X(reviseTriangleFromData) X(orientationOptimization)                   \
  X(balancingPreviewFromData) X(balancingFromData) X(voxelize) X(hollowFromData)              \
  X(lampshadePreview) X(lampshadeFromData) X(cellularInfillFromData)                          \
  X(decompositionUniformPreview) X(decompositionAutoPreview) X(decompositionUniformFromData)  \
  X(decompositionAutoFromData) X(separateFromData) X(importFile) X(importFileVRML)            \
  X(importFileIges) X(importFileStep) X(exportFileGLTF) X(saveasObjFromDataDoublePrecision)   \
  X(freeAllArray) X(freeVertexArray) X(freeDecompositionPreviewArray)                         \
  X(freeBalancingPreviewArray)
/* clang-format on */

static struct {
#define DECLARE_ENTRY(name) __typeof__(&name) name;
  VEKMESH_EXPORTS(DECLARE_ENTRY)
#undef DECLARE_ENTRY
} api;

static int failures = 0;

#define CHECK(cond)                                                            \
  do {                                                                         \
    if (!(cond)) {                                                             \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                              \
    }                                                                          \
  } while (0)

/* ---- a clean cube with every attribute ------------------------------------ */

enum { kCubeTriangles = 12 };

typedef struct {
  float corners[9 * kCubeTriangles];
  float colors[9 * kCubeTriangles];
  float uvs[6 * kCubeTriangles];
  int32_t materials[kCubeTriangles];
} Model;

/* Unit cube wound outwards. Colour channels are multiples of 0.2 and so
 * survive the trip through bytes (k x 51 / 255) bit for bit; half the
 * triangles carry materials 0..2 with their own uvs, the rest none. */
static void makeCube(Model* m) {
  static const float p[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  static const int t[kCubeTriangles][3] = {{0, 2, 1}, {0, 3, 2}, {4, 5, 6}, {4, 6, 7},
                                           {0, 1, 5}, {0, 5, 4}, {3, 7, 6}, {3, 6, 2},
                                           {0, 4, 7}, {0, 7, 3}, {1, 2, 6}, {1, 6, 5}};
  for (int i = 0; i < kCubeTriangles; ++i) {
    const int textured = i % 2 == 0;
    m->materials[i] = textured ? i % 3 : -1;
    for (int c = 0; c < 3; ++c) {
      for (int a = 0; a < 3; ++a) {
        m->corners[9 * i + 3 * c + a] = p[t[i][c]][a];
        m->colors[9 * i + 3 * c + a] = (float)((i + c + a) % 6) * 0.2f;
      }
      m->uvs[6 * i + 2 * c] = textured ? 0.125f * (float)c + 0.0625f * (float)(i % 4) : 0.0f;
      m->uvs[6 * i + 2 * c + 1] = textured ? 0.25f * (float)((c + i) % 3) : 0.0f;
    }
  }
}

static int sameFloats(const float* a, const float* b, size_t n) {
  return memcmp(a, b, n * sizeof(float)) == 0;
}

/* Triangle k of `out` equals some triangle of `in` in corners, colours, uvs
 * and material; the repair may reorder faces but must not change them. */
static int sameModel(const Model* in, uint32_t count, const float* corners, const float* colors,
                     const float* uvs, const int32_t* materials) {
  if (count != kCubeTriangles) return 0;
  for (uint32_t k = 0; k < count; ++k) {
    int found = 0;
    for (int i = 0; i < kCubeTriangles && !found; ++i)
      found = sameFloats(corners + 9 * k, in->corners + 9 * i, 9) &&
              sameFloats(colors + 9 * k, in->colors + 9 * i, 9) &&
              sameFloats(uvs + 6 * k, in->uvs + 6 * i, 6) && materials[k] == in->materials[i];
    if (!found) return 0;
  }
  return 1;
}

static void writeBinaryStl(const char* path, const Model* m) {
  FILE* f = fopen(path, "wb");
  if (!f) return;
  unsigned char header[80] = {0};
  const uint32_t n = kCubeTriangles;
  fwrite(header, 1, sizeof header, f);
  fwrite(&n, sizeof n, 1, f);
  for (int i = 0; i < kCubeTriangles; ++i) {
    const float normal[3] = {0, 0, 0};
    const uint16_t attribute = 0;
    fwrite(normal, sizeof(float), 3, f);
    fwrite(m->corners + 9 * i, sizeof(float), 9, f);
    fwrite(&attribute, sizeof attribute, 1, f);
  }
  fclose(f);
}

/* ---- checks ------------------------------------------------------------------- */

static void checkAllNamesResolve(Library library) {
  int resolved = 0;
#define RESOLVE_ENTRY(name)                                 \
  api.name = (__typeof__(&name))findExport(library, #name); \
  if (api.name)                                             \
    ++resolved;                                             \
  else                                                      \
    fprintf(stderr, "unresolved export: %s\n", #name);
  VEKMESH_EXPORTS(RESOLVE_ENTRY)
#undef RESOLVE_ENTRY
  CHECK(resolved == 46);
  /* One function under two names. */
  CHECK((void*)api.importFileIges == (void*)api.importFileStep);
}

/* Every export that takes a progress pointer leaves 100 in it. */
static void checkProgressEndsAt100(const Model* cube, const char* stl_path) {
  float* corners = (float*)cube->corners;
  uint32_t count = kCubeTriangles;
  float *oc, *ocol, *ouv;
  int32_t* omat;
  uint32_t* opc;
  uint32_t n, pieces;
  int32_t c[4], polygons;
  float* points;
  uint32_t* bits;
  int32_t *point_counts, *labels;
  int32_t progress;

#define EXPECT_100(call)                                                             \
  do {                                                                               \
    progress = -7;                                                                   \
    call;                                                                            \
    if (progress != 100) fprintf(stderr, "progress %d after %s\n", progress, #call); \
    CHECK(progress == 100);                                                          \
    api.freeAllArray();                                                              \
  } while (0)

  EXPECT_100(api.modelRepairFromData(&corners, &count, &oc, &n, &progress));
  EXPECT_100(api.modelRepairFromData64(&corners, &count, &oc, &n, &progress));
  EXPECT_100(api.modelRepairFromColorData(cube->corners, cube->colors, cube->uvs, cube->materials,
                                          count, &oc, &ocol, &ouv, &omat, &n, &progress));
  EXPECT_100(api.modelRepairFromColorDataWithPostDetection(
      cube->corners, cube->colors, cube->uvs, cube->materials, count, &oc, &ocol, &ouv, &omat, &n,
      1, &c[0], &c[1], &c[2], &c[3], &progress));
  EXPECT_100(api.errorDetectAfterMeshReduceFromColorData(
      cube->corners, cube->colors, cube->uvs, cube->materials, count, &oc, &ocol, &ouv, &omat, &n,
      0, &c[0], &c[1], &c[2], &c[3], &progress));
  EXPECT_100(api.meshReduceFromFile(stl_path, &oc, &n, &progress));
  EXPECT_100(api.meshReduceFromFile64(stl_path, &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromFile(stl_path, &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromFile64(stl_path, &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromFileSaveAs64(stl_path, &oc, &n, &progress, 0));
  EXPECT_100(api.meshPreprocessorCtrlFromFile(stl_path, -1, -1.0f, &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromData(&corners, &count, &oc, &n, &progress));
  EXPECT_100(api.meshReduceFromColorData(0.5f, cube->corners, cube->colors, cube->uvs,
                                         cube->materials, count, &oc, &ocol, &ouv, &omat, &n,
                                         &progress));
  EXPECT_100(api.weaknessDetect(cube->corners, count, &points, &bits, &point_counts, &polygons,
                                &progress));
  EXPECT_100(api.hollowFromData(0.2f, cube->corners, count, &oc, &n, &progress));
  EXPECT_100(api.cellularInfillFromData(0.5, 0.2f, cube->corners, count, &oc, &n, &progress));
  EXPECT_100(api.lampshadeFromData(0.2f, cube->corners, cube->colors, cube->uvs, cube->materials,
                                   (int32_t)count, &oc, &ocol, &ouv, &omat, &n, &progress));
  EXPECT_100(api.decompositionUniformFromData(2, 1, 0, cube->corners, cube->colors, cube->uvs,
                                              cube->materials, count, &oc, &ocol, &ouv, &omat, &opc,
                                              &pieces, &progress));
  EXPECT_100(api.decompositionAutoFromData(1, 0, cube->corners, cube->colors, cube->uvs,
                                           cube->materials, count, &oc, &ocol, &ouv, &omat, &opc,
                                           &pieces, &progress));
  EXPECT_100(api.separateFromData(cube->corners, cube->colors, cube->uvs, cube->materials, count,
                                  &oc, &ocol, &ouv, &omat, &opc, &pieces, &progress));
#undef EXPECT_100

  /* After a call that took it, the caller's cell is out of reach: neither a
   * call without progress argument nor one that still writes progress through
   * the library's own target touches it. */
  progress = -7;
  api.modelRepairFromColorData(cube->corners, cube->colors, cube->uvs, cube->materials, count, &oc,
                               &ocol, &ouv, &omat, &n, &progress);
  CHECK(progress == 100);
  api.freeAllArray();
  progress = 4242;
  /* These two write progress although they take no pointer; they come first,
   * while the caller's cell is the last one any call was given. */
  api.balancingFromData(1.0, cube->corners, count, &oc, &n); /* writes 10, 90, 100 */
  api.freeAllArray();
  api.decompositionAutoPreview(cube->corners, count, &points, &point_counts, &polygons,
                               &labels); /* writes 0 */
  api.freeAllArray();
  CHECK(progress == 4242);
  api.modelRepairFromColorData(cube->corners, cube->colors, cube->uvs, cube->materials, count, &oc,
                               &ocol, &ouv, &omat, &n, NULL);
  api.freeAllArray();
  api.meshReduceFromData(0.5f, &corners, &count, &oc, &n);
  api.freeAllArray();
  api.weaknessDetect(cube->corners, count, &points, &bits, &point_counts, &polygons, NULL);
  api.freeAllArray();
  api.hollowFromData(0.2f, cube->corners, count, &oc, &n, NULL);
  api.freeAllArray();
  CHECK(progress == 4242);
}

/* A second call overwrites the slots without freeing; the free functions
 * release only what the slots hold and are harmless when repeated. */
static void checkResultSlots(const Model* cube) {
  float *c1, *col1, *uv1, *c2, *col2, *uv2;
  int32_t *m1, *m2;
  uint32_t n1 = 0, n2 = 0;

  api.freeAllArray(); /* nothing held: harmless */
  api.modelRepairFromColorData(cube->corners, cube->colors, cube->uvs, cube->materials,
                               kCubeTriangles, &c1, &col1, &uv1, &m1, &n1, NULL);
  api.modelRepairFromColorData(cube->corners, cube->colors, cube->uvs, cube->materials,
                               kCubeTriangles, &c2, &col2, &uv2, &m2, &n2, NULL);
  CHECK(c1 != c2 && col1 != col2 && uv1 != uv2 && m1 != m2);
  /* The first arrays are still valid (the sanitizer would trap a read of
   * freed memory) ... */
  CHECK(sameModel(cube, n1, c1, col1, uv1, m1));

  /* ... freeVertexArray releases the second coordinates only ... */
  api.freeVertexArray();
  api.freeVertexArray();
  CHECK(sameModel(cube, n2, cube->corners, col2, uv2, m2));
  api.freeAllArray();
  api.freeAllArray();
  api.freeVertexArray();

  /* ... and the overwritten ones are the host's: the library never frees
   * them, so freeing them here must be the one and only release. */
  free(c1);
  free(col1);
  free(uv1);
  free(m1);

  /* Preview slots have their own release functions. */
  float* points = NULL;
  int32_t *point_counts = NULL, *labels = NULL, polygons = -1;
  api.decompositionUniformPreview(2, cube->corners, kCubeTriangles, &points, &point_counts,
                                  &polygons, &labels);
  CHECK(polygons >= 0);
  CHECK(polygons == 0 || (points && point_counts && labels));
  api.freeDecompositionPreviewArray();
  api.freeDecompositionPreviewArray();

  float* preview = NULL;
  uint32_t preview_count = 99;
  unsigned char first[kCubeTriangles] = {0}, second[kCubeTriangles] = {0};
  const float parameters[8] = {0};
  api.balancingPreviewFromData(parameters, cube->corners, kCubeTriangles, first, second, &preview,
                               &preview_count);
  CHECK(preview != NULL);
  api.freeBalancingPreviewArray();
  api.freeBalancingPreviewArray();
  api.freeAllArray();
}

/* Zero triangles in, zero triangles out, in real (freeable) arrays. */
static void checkZeroTriangles(void) {
  float* none = NULL;
  uint32_t zero = 0;
  const float dummy[9] = {0};
  float *oc, *ocol, *ouv;
  int32_t* omat;
  uint32_t* opc;
  uint32_t n, pieces;
  int32_t c[4];

#define EXPECT_EMPTY_MODEL(call, with_attributes)                            \
  do {                                                                       \
    n = 77;                                                                  \
    oc = ocol = ouv = NULL;                                                  \
    omat = NULL;                                                             \
    call;                                                                    \
    CHECK(n == 0 && oc != NULL);                                             \
    if (with_attributes) CHECK(ocol != NULL && ouv != NULL && omat != NULL); \
    api.freeAllArray();                                                      \
  } while (0)

  EXPECT_EMPTY_MODEL(api.modelRepairFromData64(&none, &zero, &oc, &n, NULL), 0);
  EXPECT_EMPTY_MODEL(
      api.modelRepairFromColorData(dummy, NULL, NULL, NULL, 0, &oc, &ocol, &ouv, &omat, &n, NULL),
      1);
  EXPECT_EMPTY_MODEL(
      api.modelRepairFromColorDataWithPostDetection(NULL, NULL, NULL, NULL, 0, &oc, &ocol, &ouv,
                                                    &omat, &n, 1, &c[0], &c[1], &c[2], &c[3], NULL),
      1);
  EXPECT_EMPTY_MODEL(
      api.errorDetectAfterMeshReduceFromColorData(NULL, NULL, NULL, NULL, 0, &oc, &ocol, &ouv,
                                                  &omat, &n, 1, &c[0], &c[1], &c[2], &c[3], NULL),
      1);
  EXPECT_EMPTY_MODEL(api.meshPreprocessorFromData(&none, &zero, &oc, &n, NULL), 0);
  EXPECT_EMPTY_MODEL(api.meshReduceFromData(0.5f, &none, &zero, &oc, &n), 0);
  EXPECT_EMPTY_MODEL(api.meshReduceFromColorData(0.5f, dummy, NULL, NULL, NULL, 0, &oc, &ocol, &ouv,
                                                 &omat, &n, NULL),
                     1);
  EXPECT_EMPTY_MODEL(api.subdivisionFromData(1, &none, &zero, &oc, &n), 0);
  EXPECT_EMPTY_MODEL(
      api.subdivisionFromColorData(1, dummy, NULL, NULL, NULL, 0, &oc, &ocol, &ouv, &omat, &n), 1);
  EXPECT_EMPTY_MODEL(api.remeshFromData64(&none, &zero, &oc, &n, NULL, NULL), 0);
  EXPECT_EMPTY_MODEL(api.reviseTriangleFromData(&none, &zero, &oc, &n), 0);
  EXPECT_EMPTY_MODEL(api.balancingFromData(1.0, dummy, 0, &oc, &n), 0);
  EXPECT_EMPTY_MODEL(api.voxelize(0.5f, dummy, NULL, 0, &oc, &ocol, &n), 0);
  EXPECT_EMPTY_MODEL(api.hollowFromData(0.2f, NULL, 0, &oc, &n, NULL), 0);
  EXPECT_EMPTY_MODEL(api.cellularInfillFromData(0.5, 0.2f, NULL, 0, &oc, &n, NULL), 0);
  EXPECT_EMPTY_MODEL(
      api.lampshadeFromData(0.2f, NULL, NULL, NULL, NULL, -5, &oc, &ocol, &ouv, &omat, &n, NULL),
      1);
  EXPECT_EMPTY_MODEL(api.importFile("missing.stl", &oc, &ocol, &ouv, &omat, &n), 1);
  EXPECT_EMPTY_MODEL(api.importFile("no_extension", &oc, &ocol, &ouv, &omat, &n), 1);
  EXPECT_EMPTY_MODEL(api.importFileStep("missing.STEP", &oc, &n), 0);
  EXPECT_EMPTY_MODEL(api.meshReduceFromFile64("missing.stl", &oc, &n, NULL), 0);
#undef EXPECT_EMPTY_MODEL

  char** names = NULL;
  uint32_t name_count = 5;
  n = 77;
  api.importFileVRML("missing.wrl", &oc, &ocol, &ouv, &omat, &n, &names, &name_count);
  CHECK(n == 0 && name_count == 0 && names != NULL);
  api.freeAllArray();

  pieces = 77;
  opc = NULL;
  api.separateFromData(NULL, NULL, NULL, NULL, 0, &oc, &ocol, &ouv, &omat, &opc, &pieces, NULL);
  CHECK(pieces == 0 && opc != NULL && oc != NULL);
  api.freeAllArray();
  pieces = 77;
  api.decompositionAutoFromData(1, 0, NULL, NULL, NULL, NULL, 0, &oc, &ocol, &ouv, &omat, &opc,
                                &pieces, NULL);
  CHECK(pieces == 0 && opc != NULL);
  api.freeAllArray();

  float* points = NULL;
  uint32_t* bits = NULL;
  int32_t* point_counts = NULL;
  int32_t polygons = 77;
  api.weaknessDetect(NULL, 0, &points, &bits, &point_counts, &polygons, NULL);
  CHECK(polygons == 0 && points && bits && point_counts);
  api.freeAllArray();

  /* Answers fixed by the arguments alone, whatever the file holds. */
  CHECK(api.flawsDetect64("missing.stl", -2) == 0);
  CHECK(api.flawsDetect("missing.stl", -1) == 0);
  CHECK(api.meshPreprocessorCtrlFromFile("missing.stl", -5, -1.0f, &oc, &n, NULL) == 0);
  api.freeAllArray();
}

/* Colours, uvs and materials come back unchanged from a repair of a model
 * that needs none. */
static void checkAttributesRoundTrip(const Model* cube) {
  float *oc = NULL, *ocol = NULL, *ouv = NULL;
  int32_t* omat = NULL;
  uint32_t n = 0;
  int32_t progress = -1;
  api.modelRepairFromColorData(cube->corners, cube->colors, cube->uvs, cube->materials,
                               kCubeTriangles, &oc, &ocol, &ouv, &omat, &n, &progress);
  CHECK(progress == 100);
  CHECK(oc && ocol && ouv && omat && sameModel(cube, n, oc, ocol, ouv, omat));
  api.freeAllArray();

  /* The same through the multi-piece output: one cube is one part. */
  uint32_t* piece_counts = NULL;
  uint32_t pieces = 0;
  api.separateFromData(cube->corners, cube->colors, cube->uvs, cube->materials, kCubeTriangles, &oc,
                       &ocol, &ouv, &omat, &piece_counts, &pieces, NULL);
  CHECK(pieces == 1 && piece_counts && piece_counts[0] == kCubeTriangles);
  if (pieces == 1 && piece_counts) CHECK(sameModel(cube, piece_counts[0], oc, ocol, ouv, omat));
  api.freeAllArray();
}

/* Three cubes: the first and third pass through each other, the second lies
 * apart. separateFromData gives two parts: both crossing cubes (24 triangles)
 * in order of their lowest triangle, then the lone one. */
static void checkSeparation(const Model* cube) {
  static float corners[3 * 9 * kCubeTriangles];
  static float colors[3 * 9 * kCubeTriangles];
  static float uvs[3 * 6 * kCubeTriangles];
  static int32_t materials[3 * kCubeTriangles];
  const float shift[3][3] = {{0, 0, 0}, {3, 0, 0}, {0.5f, 0.5f, 0.5f}};
  for (int k = 0; k < 3; ++k) {
    for (int i = 0; i < 9 * kCubeTriangles; ++i) {
      corners[9 * kCubeTriangles * k + i] = cube->corners[i] + shift[k][i % 3];
      colors[9 * kCubeTriangles * k + i] = cube->colors[i];
    }
    memcpy(uvs + 6 * kCubeTriangles * k, cube->uvs, sizeof cube->uvs);
    memcpy(materials + kCubeTriangles * k, cube->materials, sizeof cube->materials);
  }
  float *oc = NULL, *ocol = NULL, *ouv = NULL;
  int32_t* omat = NULL;
  uint32_t* counts = NULL;
  uint32_t parts = 0;
  int32_t progress = -1;
  api.separateFromData(corners, colors, uvs, materials, 3 * kCubeTriangles, &oc, &ocol, &ouv, &omat,
                       &counts, &parts, &progress);
  CHECK(progress == 100);
  CHECK(parts == 2 && counts && counts[0] == 2 * kCubeTriangles && counts[1] == kCubeTriangles);
  if (parts == 2 && counts && oc) {
    int apart = 1;
    for (uint32_t i = 0; i < 9 * counts[1]; i += 3) apart = apart && oc[9 * counts[0] + i] >= 3.0f;
    CHECK(apart);
    CHECK(oc[0] < 3.0f);
  }
  api.freeAllArray();
}

/* Calls whose answers do not depend on how far the operations have come. */
static void checkFixedAnswers(const Model* cube) {
  double angles[3] = {-1.0, -1.0, -1.0};
  api.orientationOptimization(cube->corners, kCubeTriangles, angles, 1);
  for (int i = 0; i < 3; ++i) CHECK(angles[i] >= 0.0 && angles[i] < 360.0);
  api.orientationOptimization(cube->corners, kCubeTriangles, NULL, 2);

  /* A cube 1 high is too thin for a lampshade: no outline, no buffers. */
  float dangling = 0.0f;
  float* points = &dangling;
  int32_t *point_counts = NULL, *labels = NULL, polygons = -1;
  CHECK(api.lampshadePreview(0.5f, cube->corners, kCubeTriangles, &points, &point_counts, &polygons,
                             &labels) == 0);
  CHECK(polygons == 0 && points == NULL && point_counts == NULL && labels == NULL);

  /* A model lower than 5 has no weak sections. */
  float* section_points = NULL;
  uint32_t* bits = NULL;
  int32_t* counts = NULL;
  api.weaknessDetect(cube->corners, kCubeTriangles, &section_points, &bits, &counts, &polygons,
                     NULL);
  CHECK(polygons == 0);
  api.freeAllArray();

  /* Writers and readers on the host's files. */
  double corners64[9 * kCubeTriangles], colors64[9 * kCubeTriangles], uvs64[6 * kCubeTriangles];
  for (int i = 0; i < 9 * kCubeTriangles; ++i) {
    corners64[i] = cube->corners[i];
    colors64[i] = cube->colors[i];
  }
  for (int i = 0; i < 6 * kCubeTriangles; ++i) uvs64[i] = cube->uvs[i];
  api.saveasObjFromDataDoublePrecision("out.obj", corners64, colors64, uvs64, cube->materials,
                                       kCubeTriangles);
  api.saveasObjFromDataDoublePrecision("out.obj", NULL, NULL, NULL, NULL, -3);
  const char* images[2] = {"a.png", NULL};
  api.exportFileGLTF("out.gltf", cube->corners, cube->colors, cube->uvs, cube->materials,
                     kCubeTriangles, images, 2);
  api.modelRepair("cube.stl");
  api.modelRepair64("missing.stl");
  api.meshPreprocessorFromFileSaveAs64("cube.stl", NULL, NULL, NULL, 1);
  api.freeAllArray();
}

/* ---- scratch directory ------------------------------------------------------- */

static void removeScratch(const char* dir) {
  DIR* d = opendir(dir);
  if (d) {
    struct dirent* e;
    while ((e = readdir(d)) != NULL) {
      if (strcmp(e->d_name, ".") == 0 || strcmp(e->d_name, "..") == 0) continue;
      char path[4096];
      snprintf(path, sizeof path, "%s/%s", dir, e->d_name);
      unlink(path);
    }
    closedir(d);
  }
  rmdir(dir);
}

int main(int argc, char** argv) {
  const char* library_path = argc > 1 ? argv[1] : VEKMESH_LIBRARY_PATH;
  char scratch[4096];
  if (!makeScratch(scratch, sizeof scratch) || chdir(scratch) != 0) {
    perror("scratch directory");
    return 2;
  }

  int keep = 0;
#ifdef VEKMESH_HOST_KEEPS_LIBRARY
  /* Under the leak checker: the OpenMP runtime, loaded as the library's
   * dependency, keeps a small block of its own that would be reported as
   * lost once it is unloaded. */
  keep = 1;
#endif
  Library library = loadLibrary(library_path, keep);
  if (!library) {
    fprintf(stderr, "loading %s: %s\n", library_path, loadError());
    removeScratch(scratch);
    return 2;
  }
  checkAllNamesResolve(library);
  if (failures == 0) {
    static Model cube;
    makeCube(&cube);
    writeBinaryStl("cube.stl", &cube);
    checkProgressEndsAt100(&cube, "cube.stl");
    checkResultSlots(&cube);
    checkZeroTriangles();
    checkAttributesRoundTrip(&cube);
    checkSeparation(&cube);
    checkFixedAnswers(&cube);
    /* Every operation above ran with the log sink in its default state. */
    struct stat st;
    CHECK(stat("logFile.log", &st) != 0);
    /* The last call runs a parallel loop (the repair's snapping), so the
     * OpenMP workers are parked, or still spinning, in the library's runtime
     * when it is unloaded below. */
    float* corners = cube.corners;
    uint32_t count = kCubeTriangles, n = 0;
    float* out = NULL;
    api.modelRepairFromData(&corners, &count, &out, &n, NULL);
    CHECK(n == kCubeTriangles);
    api.freeAllArray();
  }
  unloadLibrary(library);
  /* The library stays mapped after the unload, so those workers never wake in
   * unmapped code; the pause gives them the time to wake. */
  CHECK(stillLoaded(library_path));
  pauseBriefly();

  if (chdir("/") != 0) perror("chdir");
  removeScratch(scratch);
  if (failures) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures ? 1 : 0;
}
