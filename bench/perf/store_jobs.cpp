// Runs one job of the settings store and its floor in turns, and prints what each cost.
//
//     store_jobs JOB KEY BATCHES REPEATS RESULTS
//
// JOB is get, set or commit. One line a batch in RESULTS: the processor time (user and system, nanoseconds
// for one job) of rc's code and of the floor. The command that follows a commit is not run: it is
// no work of the store's.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "bench/perf/store_floor.h"
#include "rc/nvram.h"

// Stands before the C library's: what a commit tells other programs is not measured.
extern "C" int system(const char *)
{
    return 0;
}

namespace {

struct Job {
    const char *key;
    std::string value;
};

void get(const Job &job)
{
    if (!nvram_get(job.key)) {
        abort();
    }
}

void get_floor(const Job &job)
{
    free(floor_get(kStorePath, job.key));
}

void set(const Job &job)
{
    nvram_set(job.key, job.value);
}

void set_floor(const Job &job)
{
    floor_set(kStorePath, job.key, job.value.c_str());
}

void commit(const Job &)
{
    if (nvram_commit() != 0) {
        abort();
    }
}

void commit_floor(const Job &)
{
    floor_commit(kStorePath, kFlashPath);
}

struct Row {
    const char *name;
    void (*ours)(const Job &);
    void (*floor)(const Job &);
};

constexpr Row kRows[] = {
    {"get", get, get_floor},
    {"set", set, set_floor},
    {"commit", commit, commit_floor},
};

long long processor_time()
{
    timespec now = {};
    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

double measure(void (*work)(const Job &), const Job &job, int repeats)
{
    const long long begin = processor_time();
    for (int i = 0; i < repeats; ++i) {
        work(job);
    }
    return static_cast<double>(processor_time() - begin) / repeats;
}

}  // namespace

int main(int count, char **words)
{
    if (count != 6) {
        fprintf(stderr, "store_jobs: wrong number of words\n");
        return 2;
    }
    const int batches = atoi(words[3]);
    const int repeats = atoi(words[4]);
    FILE *results = fopen(words[5], "w");
    const Job job = {words[2], nvram_get(words[2]).value_or("")};
    for (const Row &row : kRows) {
        if (strcmp(row.name, words[1]) != 0 || results == nullptr) {
            continue;
        }
        for (int batch = 0; batch < batches; ++batch) {
            const double ours = measure(row.ours, job, repeats);
            const double floor = measure(row.floor, job, repeats);
            (void)fprintf(results, "%.0f %.0f\n", ours, floor);
        }
    }
    return results != nullptr && fclose(results) == 0 ? 0 : 2;
}
