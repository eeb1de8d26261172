/* A C host of libvekmesh's scripting interface (include/vekmesh/script.h),
 * linked directly: handles made and freed, arrays copied out both ways, the
 * census of a known broken model, status codes for bad arguments, cancelling
 * from the progress callback, two threads repairing at once, and threads
 * reading one handle. Under the sanitizer build, leak checking covers every
 * handle and array. */
#include <omp.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "vekmesh/script.h"

static int failures = 0;
#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                             \
    }                                                                         \
  } while (0)

/* An outward-wound cube of edge `edge` at x offset `dx`: 12 triangles. */
static void cube(float* corners, float edge, float dx) {
  static const int v[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                              {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  static const int f[12][3] = {{0, 2, 1}, {0, 3, 2}, {4, 5, 6}, {4, 6, 7}, {0, 1, 5}, {0, 5, 4},
                               {1, 2, 6}, {1, 6, 5}, {2, 3, 7}, {2, 7, 6}, {3, 0, 4}, {3, 4, 7}};
  for (int t = 0; t < 12; ++t)
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a)
        corners[9 * t + 3 * c + a] = v[f[t][c]][a] * edge + (a == 0 ? dx : 0.0f);
}

/* Two unit cubes three apart along x: 24 triangles, two shells. */
static void two_cubes(float* corners) {
  cube(corners, 1.0f, 0.0f);
  cube(corners + 12 * 9, 1.0f, 3.0f);
}

static int32_t cancel_at_first(int32_t percent, void* user) {
  (void)percent;
  ++*(int*)user;
  return 1;
}

static int32_t cancel_past_zero(int32_t percent, void* user) {
  ++*(int*)user;
  return percent > 0;
}

/* Takes its time over the first call (the mark at 0); cancels at the next,
 * which is a checkpoint's call with the same percentage: the lampshade makes
 * no mark between 0 and the end. */
typedef struct {
  int calls;
  int32_t percents[2];
} slow_start;

static int32_t cancel_after_slow_start(int32_t percent, void* user) {
  slow_start* s = (slow_start*)user;
  if (s->calls < 2) s->percents[s->calls] = percent;
  if (++s->calls > 1) return 1;
  const clock_t until = clock() + CLOCKS_PER_SEC / 5;
  while (clock() < until) {
  }
  return 0;
}

static void test_handles_and_arrays(void) {
  float corners[12 * 9];
  cube(corners, 2.0f, 0.0f);
  vkm_mesh* mesh = NULL;
  CHECK(vkm_mesh_from_arrays(corners, NULL, NULL, NULL, 12, &mesh) == VKM_OK);
  CHECK(vkm_mesh_triangle_count(mesh) == 12);

  float back[12 * 9], small[9];
  int32_t materials[12];
  CHECK(vkm_mesh_copy_out(mesh, small, NULL, NULL, NULL, 1) == VKM_BUFFER_TOO_SMALL);
  CHECK(vkm_mesh_copy_out(mesh, back, NULL, NULL, materials, 12) == VKM_OK);
  CHECK(materials[0] == -1);
  vkm_arrays arrays;
  CHECK(vkm_mesh_to_arrays(mesh, &arrays) == VKM_OK);
  CHECK(arrays.count == 12 && arrays.colors[0] == 1.0f);
  CHECK(memcmp(arrays.corners, back, sizeof back) == 0);
  vkm_arrays_free(&arrays);
  vkm_arrays_free(&arrays); /* freed structs are allowed */

  vkm_census census;
  CHECK(vkm_census_take(mesh, NULL, NULL, &census) == VKM_OK);
  CHECK(census.watertight && census.printable && census.volume == 8.0);
  CHECK(strcmp(census.verdict, "printable") == 0);

  /* A copy is independent of its original. */
  vkm_mesh* copy = NULL;
  CHECK(vkm_mesh_copy(mesh, &copy) == VKM_OK);
  vkm_subdivide_options subdivide;
  vkm_subdivide_defaults(&subdivide);
  CHECK(vkm_subdivide(copy, &subdivide, NULL) == VKM_OK);
  CHECK(vkm_mesh_triangle_count(copy) == 48 && vkm_mesh_triangle_count(mesh) == 12);
  vkm_mesh_free(copy);
  vkm_mesh_free(mesh);
  vkm_mesh_free(NULL);
}

static void test_statuses(void) {
  vkm_mesh* mesh = (vkm_mesh*)1;
  vkm_run run = {0};
  CHECK(vkm_mesh_from_arrays(NULL, NULL, NULL, NULL, 3, &mesh) == VKM_INVALID_ARGUMENT);
  CHECK(mesh == NULL);
  CHECK(vkm_repair(NULL, NULL, &run, NULL) == VKM_INVALID_ARGUMENT && run.message[0]);
  CHECK(vkm_mesh_load("/nonexistent/model.stl", &run, &mesh) == VKM_FILE_ERROR);
  CHECK(strstr(run.message, "/nonexistent/model.stl") != NULL && mesh == NULL);
  CHECK(strcmp(vkm_status_message(VKM_CANCELLED), "cancelled by the progress callback") == 0);
  CHECK(strcmp(vkm_status_message(12345), "unknown status") == 0);
  /* A bad option is refused before any work, and the handle stays as it was. */
  float corners[12 * 9];
  cube(corners, 1.0f, 0.0f);
  CHECK(vkm_mesh_from_arrays(corners, NULL, NULL, NULL, 12, &mesh) == VKM_OK);
  vkm_voxelize_options voxels = {-1.0f};
  CHECK(vkm_voxelize(mesh, &voxels, &run) == VKM_INVALID_ARGUMENT);
  CHECK(strstr(run.message, "voxel_size") != NULL && vkm_mesh_triangle_count(mesh) == 12);
  vkm_mesh_free(mesh);
  vkm_reduce_options reduce;
  vkm_reduce_defaults(&reduce);
  CHECK(reduce.ratio == 0.5 && reduce.max_error == 0.05 && reduce.min_cosine == 0.99);
}

static void test_cancel_leaves_the_handle(void) {
  float corners[12 * 9];
  cube(corners, 1.0f, 0.0f);
  vkm_mesh* mesh = NULL;
  /* An open box: the repair would fill its hole. */
  CHECK(vkm_mesh_from_arrays(corners + 9, NULL, NULL, NULL, 11, &mesh) == VKM_OK);
  int calls = 0;
  vkm_run run = {cancel_at_first, &calls, {0}, 0};
  CHECK(vkm_repair(mesh, NULL, &run, NULL) == VKM_CANCELLED);
  CHECK(calls == 1 && vkm_mesh_triangle_count(mesh) == 11);
  /* The sectional analysis reports from inside its parallel work. */
  vkm_sections sections = {0};
  calls = 0;
  run.progress = cancel_past_zero;
  CHECK(vkm_weak_sections(mesh, NULL, &run, &sections) == VKM_CANCELLED && calls >= 2);
  CHECK(sections.scores == NULL);
  /* A step long after the last call asks again, with the same percentage. */
  slow_start slow = {0, {-1, -1}};
  run.progress = cancel_after_slow_start;
  run.user = &slow;
  CHECK(vkm_lampshade(mesh, NULL, &run) == VKM_CANCELLED);
  CHECK(slow.calls == 2 && slow.percents[0] == 0 && slow.percents[1] == 0);
  CHECK(vkm_mesh_triangle_count(mesh) == 11);
  run.progress = NULL;
  int32_t kept = -1;
  CHECK(vkm_repair(mesh, NULL, &run, &kept) == VKM_OK && kept == 0 && run.message[0] == 0);
  vkm_census census;
  CHECK(vkm_census_take(mesh, NULL, NULL, &census) == VKM_OK && census.watertight);
  vkm_mesh_free(mesh);
}

static void test_separate(void) {
  float corners[24 * 9];
  two_cubes(corners);
  vkm_mesh* mesh = NULL;
  CHECK(vkm_mesh_from_arrays(corners, NULL, NULL, NULL, 24, &mesh) == VKM_OK);
  vkm_mesh** pieces = NULL;
  uint64_t count = 0;
  CHECK(vkm_separate(mesh, NULL, &pieces, &count) == VKM_OK && count == 2);
  CHECK(count == 2 && vkm_mesh_triangle_count(pieces[1]) == 12);
  vkm_pieces_free(pieces, count);
  vkm_mesh_free(mesh);
}

/* Each thread repairs its own open box; the results must match those of the
 * same repairs made one after the other. */
struct Job {
  float dx;
  uint64_t triangles;
  double volume;
};
static void* repair_job(void* argument) {
  struct Job* job = argument;
  float corners[12 * 9];
  cube(corners, 1.0f + job->dx, job->dx);
  vkm_mesh* mesh = NULL;
  vkm_census census;
  if (vkm_mesh_from_arrays(corners + 9, NULL, NULL, NULL, 11, &mesh) == VKM_OK &&
      vkm_repair(mesh, NULL, NULL, NULL) == VKM_OK &&
      vkm_census_take(mesh, NULL, NULL, &census) == VKM_OK) {
    job->triangles = census.triangles;
    job->volume = census.volume;
  }
  vkm_mesh_free(mesh);
  return NULL;
}

static void test_threads(void) {
  struct Job alone[2] = {{0.0f, 0, 0.0}, {1.0f, 0, 0.0}};
  struct Job together[2] = {{0.0f, 0, 0.0}, {1.0f, 0, 0.0}};
  for (int i = 0; i < 2; ++i) repair_job(&alone[i]);
  pthread_t threads[2];
  for (int i = 0; i < 2; ++i) pthread_create(&threads[i], NULL, repair_job, &together[i]);
  for (int i = 0; i < 2; ++i) pthread_join(threads[i], NULL);
  for (int i = 0; i < 2; ++i) {
    CHECK(together[i].triangles == alone[i].triangles && together[i].triangles > 0);
    CHECK(together[i].volume == alone[i].volume);
  }
  CHECK(alone[0].volume != alone[1].volume);
}

/* Several threads reading one fresh handle at once (its shells are grouped on
 * first need) each see both cubes; a repair of a fresh handle groups them
 * from its own adjacency and agrees. */
struct Reader {
  vkm_mesh* mesh;
  uint64_t shells;
};
static void* census_job(void* argument) {
  struct Reader* reader = argument;
  vkm_census census;
  if (vkm_census_take(reader->mesh, NULL, NULL, &census) == VKM_OK) reader->shells = census.shells;
  return NULL;
}

static void test_fresh_handle_shells(void) {
  float corners[24 * 9];
  two_cubes(corners);
  vkm_mesh* mesh = NULL;
  CHECK(vkm_mesh_from_arrays(corners, NULL, NULL, NULL, 24, &mesh) == VKM_OK);
  struct Reader readers[3] = {{mesh, 0}, {mesh, 0}, {mesh, 0}};
  pthread_t threads[3];
  for (int i = 0; i < 3; ++i) pthread_create(&threads[i], NULL, census_job, &readers[i]);
  for (int i = 0; i < 3; ++i) pthread_join(threads[i], NULL);
  for (int i = 0; i < 3; ++i) CHECK(readers[i].shells == 2);
  vkm_mesh_free(mesh);

  /* Each cube loses a face: the repair closes both and keeps them apart. */
  float open[22 * 9];
  memcpy(open, corners + 9, 11 * 9 * sizeof(float));
  memcpy(open + 11 * 9, corners + 13 * 9, 11 * 9 * sizeof(float));
  vkm_census census;
  CHECK(vkm_mesh_from_arrays(open, NULL, NULL, NULL, 22, &mesh) == VKM_OK);
  CHECK(vkm_repair(mesh, NULL, NULL, NULL) == VKM_OK);
  CHECK(vkm_census_take(mesh, NULL, NULL, &census) == VKM_OK);
  CHECK(census.shells == 2 && census.closed_shells == 2 && census.open_edges == 0);
  vkm_mesh_free(mesh);
}

/* A call's `threads` sizes the calling thread's teams while it runs (seen
 * from the progress callback, which runs on that thread between marks) and
 * is undone when it returns; the result does not depend on it. */
struct TeamSizes {
  int seen[8];
  int count;
};
static int32_t record_team_size(int32_t percent, void* user) {
  (void)percent;
  struct TeamSizes* sizes = user;
  if (sizes->count < 8) sizes->seen[sizes->count++] = omp_get_max_threads();
  return 0;
}

static void test_thread_share(void) {
  float corners[24 * 9];
  two_cubes(corners);
  const int before = omp_get_max_threads();
  uint64_t triangles[2] = {0, 0};
  for (int threads = 1; threads <= 2; ++threads) {
    struct TeamSizes sizes = {{0}, 0};
    vkm_run run = {record_team_size, &sizes, {0}, threads};
    vkm_mesh* mesh = NULL;
    CHECK(vkm_mesh_from_arrays(corners + 9, NULL, NULL, NULL, 23, &mesh) == VKM_OK);
    CHECK(vkm_repair(mesh, NULL, &run, NULL) == VKM_OK);
    triangles[threads - 1] = vkm_mesh_triangle_count(mesh);
    vkm_mesh_free(mesh);
    const int expected = threads < omp_get_num_procs() ? threads : omp_get_num_procs();
    CHECK(sizes.count >= 2);
    for (int i = 0; i < sizes.count; ++i) CHECK(sizes.seen[i] == expected);
    CHECK(omp_get_max_threads() == before);
  }
  CHECK(triangles[0] == 24 && triangles[1] == 24);
}

int main(void) {
  CHECK(strcmp(vkm_version(), "") != 0);
  test_handles_and_arrays();
  test_statuses();
  test_cancel_leaves_the_handle();
  test_separate();
  test_threads();
  test_fresh_handle_shells();
  test_thread_share();
  if (failures)
    fprintf(stderr, "%d failures\n", failures);
  else
    printf("script host ok\n");
  return failures ? 1 : 0;
}
