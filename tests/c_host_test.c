/* The library as a host sees it, from C: loaded with dlopen (LoadLibrary on
 * Windows), its 46 exports resolved and typed from the public header (a
 * drifting signature fails to compile), progress ends at 100 and is never
 * written after the call, result slots are overwritten without freeing and
 * released by the free functions, empty input gives empty but real arrays, no
 * log file is left behind, and the library stays mapped after it is unloaded
 * so that OpenMP workers never wake in unmapped code. */
#define _XOPEN_SOURCE 700

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

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
static const char* kRemoveTree = "rmdir /s /q";
#else
#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

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
static const char* kRemoveTree = "rm -rf";
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

enum { kTriangles = 12 };

/* Unit cube wound outwards. Colour channels are multiples of 0.2 and survive
 * the trip through bytes bit for bit; every other triangle carries a material
 * (0..2) and its own uvs. */
static float corners[9 * kTriangles], colors[9 * kTriangles], uvs[6 * kTriangles];
static int32_t materials[kTriangles];

static void makeCube(void) {
  /* Corner v is at (v & 1, v >> 1 & 1, v >> 2). */
  static const int t[kTriangles][3] = {{0, 3, 1}, {0, 2, 3}, {4, 5, 7}, {4, 7, 6},
                                       {0, 1, 5}, {0, 5, 4}, {2, 6, 7}, {2, 7, 3},
                                       {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
  for (int i = 0; i < kTriangles; ++i) {
    const int textured = i % 2 == 0;
    materials[i] = textured ? i % 3 : -1;
    for (int c = 0; c < 3; ++c) {
      for (int a = 0; a < 3; ++a) {
        corners[9 * i + 3 * c + a] = (float)(t[i][c] >> a & 1);
        colors[9 * i + 3 * c + a] = (float)((i + c + a) % 6) * 0.2f;
      }
      uvs[6 * i + 2 * c] = textured ? 0.125f * (float)c + 0.0625f * (float)(i % 4) : 0.0f;
      uvs[6 * i + 2 * c + 1] = textured ? 0.25f * (float)((c + i) % 3) : 0.0f;
    }
  }
}

/* Every triangle of the result equals some cube triangle in corners, colours,
 * uvs and material (the repair may reorder faces but must not change them). */
static int isCube(uint32_t n, const float* oc, const float* ocol, const float* ouv,
                  const int32_t* omat) {
  int all = n == kTriangles;
  for (uint32_t k = 0; k < n && all; ++k) {
    int found = 0;
    for (int i = 0; i < kTriangles && !found; ++i)
      found = !memcmp(oc + 9 * k, corners + 9 * i, 36) &&
              !memcmp(ocol + 9 * k, colors + 9 * i, 36) && !memcmp(ouv + 6 * k, uvs + 6 * i, 24) &&
              omat[k] == materials[i];
    all = found;
  }
  return all;
}

/* Binary STL: zero header, normals and attributes (little-endian host). */
static void writeBinaryStl(const char* path) {
  static unsigned char bytes[84 + 50 * kTriangles];
  bytes[80] = kTriangles;
  for (int i = 0; i < kTriangles; ++i) memcpy(bytes + 84 + 50 * i + 12, corners + 9 * i, 36);
  FILE* f = fopen(path, "wb");
  fwrite(bytes, 1, sizeof bytes, f);
  fclose(f);
}

/* The cube or nothing in; the model, pieces, outlines, sections and
 * post-detection counters out, into variables of their own. */
#define CUBE_IN corners, colors, uvs, materials, kTriangles
#define NOTHING_IN NULL, NULL, NULL, NULL, 0
#define MODEL_OUT &oc, &ocol, &ouv, &omat, &n
#define PIECES_OUT &oc, &ocol, &ouv, &omat, &opc, &pieces
#define OUTLINES_OUT &points, &point_counts, &polygons, &labels
#define SECTIONS_OUT &points, &bits, &point_counts, &polygons
#define COUNTERS_OUT &c[0], &c[1], &c[2], &c[3]
static float *oc, *ocol, *ouv, *points, *cp = corners;
static int32_t *omat, *point_counts, *labels, polygons, c[4];
static uint32_t *opc, *bits, n, pieces, count = kTriangles;

/* Every export that takes a progress pointer leaves 100 in it; none writes to
 * it after returning. */
static void checkProgress(void) {
  int32_t progress;
#define EXPECT_100(call)                                                                         \
  do {                                                                                           \
    progress = -7;                                                                               \
    call;                                                                                        \
    if (progress != 100) fprintf(stderr, "progress %d after %s\n", progress, #call), ++failures; \
    api.freeAllArray();                                                                          \
  } while (0)

  EXPECT_100(api.modelRepairFromData(&cp, &count, &oc, &n, &progress));
  EXPECT_100(api.modelRepairFromData64(&cp, &count, &oc, &n, &progress));
  EXPECT_100(api.modelRepairFromColorData(CUBE_IN, MODEL_OUT, &progress));
  EXPECT_100(api.modelRepairFromColorDataWithPostDetection(CUBE_IN, MODEL_OUT, 1, COUNTERS_OUT,
                                                           &progress));
  EXPECT_100(
      api.errorDetectAfterMeshReduceFromColorData(CUBE_IN, MODEL_OUT, 0, COUNTERS_OUT, &progress));
  EXPECT_100(api.meshReduceFromFile("cube.stl", &oc, &n, &progress));
  EXPECT_100(api.meshReduceFromFile64("cube.stl", &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromFile("cube.stl", &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromFile64("cube.stl", &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromFileSaveAs64("cube.stl", &oc, &n, &progress, 0));
  EXPECT_100(api.meshPreprocessorCtrlFromFile("cube.stl", -1, -1.0f, &oc, &n, &progress));
  EXPECT_100(api.meshPreprocessorFromData(&cp, &count, &oc, &n, &progress));
  EXPECT_100(api.meshReduceFromColorData(0.5f, CUBE_IN, MODEL_OUT, &progress));
  EXPECT_100(api.weaknessDetect(corners, count, SECTIONS_OUT, &progress));
  EXPECT_100(api.hollowFromData(0.2f, corners, count, &oc, &n, &progress));
  EXPECT_100(api.cellularInfillFromData(0.5, 0.2f, corners, count, &oc, &n, &progress));
  EXPECT_100(api.lampshadeFromData(0.2f, CUBE_IN, MODEL_OUT, &progress));
  EXPECT_100(api.decompositionUniformFromData(2, 1, 0, CUBE_IN, PIECES_OUT, &progress));
  EXPECT_100(api.decompositionAutoFromData(1, 0, CUBE_IN, PIECES_OUT, &progress));
  EXPECT_100(api.separateFromData(CUBE_IN, PIECES_OUT, &progress));
#undef EXPECT_100

  /* The caller's cell, the last one any call was given, stays untouched by
   * the two calls that take no progress argument but write progress to the
   * library's own target (10, 90, 100 and 0). */
  progress = 4242;
  api.balancingFromData(1.0, corners, count, &oc, &n);
  api.freeAllArray();
  api.decompositionAutoPreview(corners, count, OUTLINES_OUT);
  api.freeAllArray();
  CHECK(progress == 4242);
}

/* A second call overwrites the slots without freeing; each free function
 * releases only its own slots and is harmless when repeated. What a free
 * function misses, the sanitizer build's leak checker reports; what it frees
 * wrongly, the host's reads and frees below trip over. */
static void checkResultSlots(void) {
  float *c1, *col1, *uv1, *c2, *col2, *uv2, *c3;
  int32_t *m1, *m2;
  uint32_t n1 = 0, n2 = 0, n3 = 0;

  api.freeAllArray(); /* nothing held: harmless */
  api.modelRepairFromColorData(CUBE_IN, &c1, &col1, &uv1, &m1, &n1, NULL);
  api.modelRepairFromColorData(CUBE_IN, &c2, &col2, &uv2, &m2, &n2, NULL);
  CHECK(c1 != c2 && col1 != col2 && uv1 != uv2 && m1 != m2);
  api.freeVertexArray(); /* the second coordinates only */
  api.freeVertexArray();
  CHECK(isCube(n2, corners, col2, uv2, m2));
  /* A coordinates-only result empties the colour, uv and material slots,
   * handing the second result's attributes to the host as well. */
  api.modelRepairFromData64(&cp, &count, &c3, &n3, NULL);
  CHECK(n3 == kTriangles);
  api.freeAllArray();
  api.freeAllArray();
  api.freeVertexArray();
  CHECK(isCube(n1, c1, col1, uv1, m1)); /* attributes round-trip */
  free(c1), free(col1), free(uv1), free(m1), free(col2), free(uv2), free(m2);

  /* Preview slots have their own release functions. */
  polygons = -1, points = NULL, point_counts = labels = NULL;
  api.decompositionUniformPreview(2, corners, kTriangles, OUTLINES_OUT);
  CHECK(polygons >= 0 && (polygons == 0 || (points && point_counts && labels)));
  float* preview = NULL;
  unsigned char flags[2][kTriangles] = {{0}};
  const float parameters[8] = {0};
  api.balancingPreviewFromData(parameters, corners, kTriangles, flags[0], flags[1], &preview, &n);
  CHECK(preview != NULL);
  api.freeDecompositionPreviewArray();
  api.freeDecompositionPreviewArray();
  api.freeBalancingPreviewArray();
  api.freeBalancingPreviewArray();
}

/* Zero triangles in (or an unreadable file), zero out, in real arrays; and
 * answers fixed by the arguments or the model alone. */
static void checkEmptyAndFixedAnswers(void) {
  float* none = NULL;
  uint32_t zero = 0;
  const float dummy[9] = {0};
  char** names;
  uint32_t name_count;
#define EXPECT_EMPTY(call, held)                                                    \
  do {                                                                              \
    n = pieces = 77, polygons = 77;                                                 \
    oc = ocol = ouv = points = NULL, omat = point_counts = NULL, opc = bits = NULL; \
    call;                                                                           \
    CHECK(held);                                                                    \
    api.freeAllArray();                                                             \
  } while (0)
#define EMPTY_CORNERS (n == 0 && oc != NULL)
#define EMPTY_MODEL (EMPTY_CORNERS && ocol != NULL && ouv != NULL && omat != NULL)

  EXPECT_EMPTY(api.modelRepairFromData64(&none, &zero, &oc, &n, NULL), EMPTY_CORNERS);
  EXPECT_EMPTY(api.modelRepairFromColorData(dummy, NULL, NULL, NULL, 0, MODEL_OUT, NULL),
               EMPTY_MODEL);
  EXPECT_EMPTY(
      api.modelRepairFromColorDataWithPostDetection(NOTHING_IN, MODEL_OUT, 1, COUNTERS_OUT, NULL),
      EMPTY_MODEL);
  EXPECT_EMPTY(
      api.errorDetectAfterMeshReduceFromColorData(NOTHING_IN, MODEL_OUT, 1, COUNTERS_OUT, NULL),
      EMPTY_MODEL);
  EXPECT_EMPTY(api.meshPreprocessorFromData(&none, &zero, &oc, &n, NULL), EMPTY_CORNERS);
  EXPECT_EMPTY(api.meshReduceFromData(0.5f, &none, &zero, &oc, &n), EMPTY_CORNERS);
  EXPECT_EMPTY(api.meshReduceFromColorData(0.5f, NOTHING_IN, MODEL_OUT, NULL), EMPTY_MODEL);
  EXPECT_EMPTY(api.subdivisionFromData(1, &none, &zero, &oc, &n), EMPTY_CORNERS);
  EXPECT_EMPTY(api.subdivisionFromColorData(1, NOTHING_IN, MODEL_OUT), EMPTY_MODEL);
  EXPECT_EMPTY(api.remeshFromData64(&none, &zero, &oc, &n, NULL, NULL), EMPTY_CORNERS);
  EXPECT_EMPTY(api.reviseTriangleFromData(&none, &zero, &oc, &n), EMPTY_CORNERS);
  EXPECT_EMPTY(api.balancingFromData(1.0, dummy, 0, &oc, &n), EMPTY_CORNERS);
  EXPECT_EMPTY(api.voxelize(0.5f, dummy, NULL, 0, &oc, &ocol, &n), EMPTY_CORNERS);
  EXPECT_EMPTY(api.hollowFromData(0.2f, NULL, 0, &oc, &n, NULL), EMPTY_CORNERS);
  EXPECT_EMPTY(api.cellularInfillFromData(0.5, 0.2f, NULL, 0, &oc, &n, NULL), EMPTY_CORNERS);
  EXPECT_EMPTY(api.lampshadeFromData(0.2f, NULL, NULL, NULL, NULL, -5, MODEL_OUT, NULL),
               EMPTY_MODEL);
  EXPECT_EMPTY(api.importFile("no_extension", MODEL_OUT), EMPTY_MODEL);
  EXPECT_EMPTY(api.importFileStep("missing.STEP", &oc, &n), EMPTY_CORNERS);
  /* Lower-case CAD names reach the converter, or find none (Windows has no
   * converter): either way nothing comes back. */
  EXPECT_EMPTY(api.importFileIges("missing.step", &oc, &n), EMPTY_CORNERS);
  EXPECT_EMPTY(api.importFile("missing.igs", MODEL_OUT), EMPTY_MODEL);
  EXPECT_EMPTY(api.meshReduceFromFile64("missing.stl", &oc, &n, NULL), EMPTY_CORNERS);
  EXPECT_EMPTY(api.importFileVRML("missing.wrl", MODEL_OUT, &names, &name_count),
               EMPTY_MODEL && name_count == 0 && names != NULL);
  EXPECT_EMPTY(api.separateFromData(NOTHING_IN, PIECES_OUT, NULL), pieces == 0 && opc && oc);
  EXPECT_EMPTY(api.decompositionAutoFromData(1, 0, NOTHING_IN, PIECES_OUT, NULL),
               pieces == 0 && opc);
  EXPECT_EMPTY(api.weaknessDetect(NULL, 0, SECTIONS_OUT, NULL),
               polygons == 0 && points && bits && point_counts);
  /* A model lower than 5 has no weak sections. */
  EXPECT_EMPTY(api.weaknessDetect(corners, kTriangles, SECTIONS_OUT, NULL), polygons == 0);
#undef EXPECT_EMPTY
  CHECK(api.flawsDetect64("missing.stl", -2) == 0);
  CHECK(api.meshPreprocessorCtrlFromFile("missing.stl", -5, -1.0f, &oc, &n, NULL) == 0);
  api.freeAllArray();

  /* A cube 1 high is too thin for a lampshade: no outline, no buffers. */
  points = corners;
  point_counts = labels = NULL;
  CHECK(api.lampshadePreview(0.5f, corners, kTriangles, OUTLINES_OUT) == 0);
  CHECK(polygons == 0 && points == NULL && point_counts == NULL && labels == NULL);
  double angles[3] = {-1.0, -1.0, -1.0};
  api.orientationOptimization(corners, kTriangles, angles, 1);
  for (int i = 0; i < 3; ++i) CHECK(angles[i] >= 0.0 && angles[i] < 360.0);
  api.orientationOptimization(corners, kTriangles, NULL, 2);
}

/* Three cubes: the first and third pass through each other, the second lies
 * apart. Two parts come back: both crossing cubes in order of their lowest
 * triangle, then the lone one. */
static void checkSeparation(void) {
  static float three[3 * 9 * kTriangles];
  const float shift[3][3] = {{0, 0, 0}, {3, 0, 0}, {0.5f, 0.5f, 0.5f}};
  for (int k = 0; k < 3; ++k)
    for (int i = 0; i < 9 * kTriangles; ++i)
      three[9 * kTriangles * k + i] = corners[i] + shift[k][i % 3];
  opc = NULL;
  api.separateFromData(three, NULL, NULL, NULL, 3 * kTriangles, PIECES_OUT, NULL);
  CHECK(pieces == 2 && opc && opc[0] == 2 * kTriangles && opc[1] == kTriangles && oc[0] < 3.0f &&
        oc[9 * 2 * kTriangles] >= 3.0f);
  api.freeAllArray();
}

/* Writers and readers on the host's files: no checks beyond the sanitizers
 * and the absence of a log file afterwards. */
static void runFileExports(void) {
  const double triangle[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
  api.saveasObjFromDataDoublePrecision("out.obj", triangle, NULL, NULL, NULL, 1);
  api.saveasObjFromDataDoublePrecision("out.obj", NULL, NULL, NULL, NULL, -3);
  const char* images[2] = {"a.png", NULL};
  api.exportFileGLTF("out.gltf", CUBE_IN, images, 2);
  api.modelRepair("cube.stl");
  api.meshPreprocessorFromFileSaveAs64("cube.stl", NULL, NULL, NULL, 1);
  api.freeAllArray();
}

int main(int argc, char** argv) {
  const char* library_path = argc > 1 ? argv[1] : VEKMESH_LIBRARY_PATH;
  char scratch[4096];
  if (!makeScratch(scratch, sizeof scratch) || chdir(scratch) != 0)
    return perror("scratch directory"), 2;
  int keep = 0;
#ifdef VEKMESH_HOST_KEEPS_LIBRARY
  /* The OpenMP runtime keeps a block the leak checker would report once the
   * library and with it the runtime are unloaded. */
  keep = 1;
#endif
  Library library = loadLibrary(library_path, keep);
  if (!library) fprintf(stderr, "cannot load %s\n", library_path);
  int resolved = 0;
#define RESOLVE_ENTRY(name)                                                  \
  api.name = library ? (__typeof__(&name))findExport(library, #name) : NULL; \
  if (api.name)                                                              \
    ++resolved;                                                              \
  else                                                                       \
    fprintf(stderr, "unresolved export: %s\n", #name);
  VEKMESH_EXPORTS(RESOLVE_ENTRY)
#undef RESOLVE_ENTRY
  CHECK(resolved == 46);
  if (resolved == 46) {
    makeCube();
    writeBinaryStl("cube.stl");
    checkProgress();
    checkResultSlots();
    checkEmptyAndFixedAnswers();
    checkSeparation();
    runFileExports();
    struct stat st;
    CHECK(stat("logFile.log", &st) != 0); /* the log sink stayed in its default state */
    /* The last call runs a parallel loop (the repair's snapping), so the
     * OpenMP workers are parked, or still spinning, in the library's runtime
     * when it is unloaded below. */
    float* in = corners;
    uint32_t count = kTriangles, n = 0;
    float* out = NULL;
    api.modelRepairFromData(&in, &count, &out, &n, NULL);
    CHECK(n == kTriangles);
    api.freeAllArray();
  }
  if (library) {
    unloadLibrary(library);
    /* The library stays mapped after the unload; the pause gives the workers
     * the time to wake. */
    CHECK(stillLoaded(library_path));
    pauseBriefly();
  }
  char command[4200];
  snprintf(command, sizeof command, "%s \"%s\"", kRemoveTree, scratch);
  if (chdir("/") != 0 || system(command) != 0) perror("removing the scratch directory");
  if (failures) fprintf(stderr, "%d check(s) failed\n", failures);
  return failures ? 1 : 0;
}
