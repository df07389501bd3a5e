// System calls that fail on demand, for the files below one directory. See faultshim.h. The calls
// are those that Qt and readkey make on a key, by the names that `nm -D --undefined-only` shows.
#include "tests/support/faultshim.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

char watchedRoot[4096];
char failingKind[16];
char missingKinds[64];
char seenKinds[1024];
int failAt;
bool isLasting;
int failure; // an errno, 0, or a signal below 0
int calls;

bool isWatched(const char* path) {
    return *watchedRoot != 0 && std::strncmp(path, watchedRoot, std::strlen(watchedRoot)) == 0;
}

bool isWatched(int descriptor) {
    if (*watchedRoot == 0 || descriptor < 0)
        return false;
    const int before = errno;
    std::error_code error;
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const std::string path = std::filesystem::read_symlink(link, error);
    errno = before;
    return isWatched(path.c_str());
}

bool isWatched(int dirDescriptor, const char* path) {
    return *path == '/' ? isWatched(path) : isWatched(dirDescriptor);
}

bool fails(const char* kind) {
    if (std::strlen(seenKinds) + std::strlen(kind) + 2 < sizeof seenKinds)
        std::strcat(std::strcat(seenKinds, *seenKinds == 0 ? "" : " "), kind);
    const bool isMeant =
        std::strcmp(failingKind, "any") == 0 || std::strcmp(failingKind, kind) == 0;
    calls += isMeant ? 1 : 0;
    const bool isDue = isMeant && (isLasting ? calls >= failAt : calls == failAt);
    if (isDue && failure < 0)
        ::raise(-failure);
    const bool isFailing = (isDue && failure >= 0) || std::strstr(missingKinds, kind) != nullptr;
    if (isFailing)
        errno = isDue ? failure : EOPNOTSUPP;
    return isFailing;
}

template <typename Result, typename... Arguments>
Result call(bool watched, const char* kind, const char* name, Result failed,
            Arguments... arguments) {
    if (watched && fails(kind))
        return errno == 0 ? Result() : failed;
    using Function = Result (*)(Arguments...);
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name))(arguments...);
}

// The number of an outcome.
int numberOf(const std::string& outcome) {
    static const std::map<std::string, int> numbers{
        {"nothing", 0},     {"EACCES", EACCES}, {"EINVAL", EINVAL},  {"EIO", EIO},
        {"ENOSPC", ENOSPC}, {"EPERM", EPERM},   {"SIGINT", -SIGINT}, {"SIGUSR1", -SIGUSR1}};
    return numbers.at(outcome);
}

__attribute__((constructor)) void armFromEnvironment() {
    if (const char* const root = std::getenv("FAULT_ROOT"))
        faults_arm(root, std::getenv("FAULT"));
}

} // namespace

extern "C" {

void faults_arm(const char* root, const char* fault) {
    char number[16];
    char outcome[16];
    if (std::sscanf(fault, "%15s %15s %15s", failingKind, number, outcome) != 3) {
        std::fprintf(stderr, "faultshim: \"%s\" is not a fault\n", fault);
        std::abort();
    }
    std::snprintf(watchedRoot, sizeof watchedRoot, "%s", root);
    char* afterNumber = nullptr;
    failAt = static_cast<int>(std::strtol(number, &afterNumber, 10));
    isLasting = *afterNumber == '+';
    failure = numberOf(outcome);
    calls = 0;
    *missingKinds = 0;
    *seenKinds = 0;
}

void faults_miss(const char* kinds) {
    std::snprintf(missingKinds, sizeof missingKinds, "%s", kinds);
}

const char* faults_seen() {
    return seenKinds;
}

int faults_disarm() {
    *watchedRoot = 0;
    return calls;
}

// Under names of their own: the C library declares these with as many arguments as one likes.
int openFile(const char* path, int flags, mode_t mode) __asm__("open64");
int openFile(const char* path, int flags, mode_t mode) {
    const char* const kind = (flags & O_TMPFILE) == O_TMPFILE ? "tmpfile" : "open";
    return call(isWatched(path), kind, "open64", -1, path, flags, mode);
}
dirent64* readdir64(DIR* dir) {
    return call(isWatched(::dirfd(dir)), "readdir", __func__, static_cast<dirent64*>(nullptr), dir);
}
int statx(int dir, const char* path, int flags, unsigned int mask, struct statx* status) noexcept {
    return call(isWatched(dir, path), "stat", __func__, -1, dir, path, flags, mask, status);
}
int lstat64(const char* path, struct stat64* status) noexcept {
    return call(isWatched(path), "stat", __func__, -1, path, status);
}
int fstat64(int descriptor, struct stat64* status) noexcept {
    return call(isWatched(descriptor), "stat", __func__, -1, descriptor, status);
}
int access(const char* path, int mode) noexcept {
    return call(isWatched(path), "stat", __func__, -1, path, mode);
}
ssize_t read(int descriptor, void* buffer, size_t size) {
    if (std::strcmp(failingKind, "byte") == 0 && isWatched(descriptor)) {
        const off64_t good = failAt - ::lseek64(descriptor, 0, SEEK_CUR);
        if (good <= 0) {
            ++calls;
            errno = failure;
            return -1;
        }
        size = std::min(size, static_cast<size_t>(good));
    }
    return call(isWatched(descriptor), "read", __func__, ssize_t(-1), descriptor, buffer, size);
}
int renameat2(int fromDir, const char* from, int toDir, const char* to,
              unsigned int flags) noexcept {
    return call(isWatched(toDir, to), "rename", __func__, -1, fromDir, from, toDir, to, flags);
}
int linkat(int fromDir, const char* from, int toDir, const char* to, int flags) noexcept {
    return call(isWatched(toDir, to), "link", __func__, -1, fromDir, from, toDir, to, flags);
}
int unlink(const char* path) noexcept {
    return call(isWatched(path), "unlink", __func__, -1, path);
}
ssize_t write(int descriptor, const void* buffer, size_t size) {
    return call(isWatched(descriptor), "write", __func__, ssize_t(-1), descriptor, buffer, size);
}
int fsync(int descriptor) {
    return call(isWatched(descriptor), "sync", __func__, -1, descriptor);
}
int fchmod(int descriptor, mode_t mode) noexcept {
    return call(isWatched(descriptor), "setmode", __func__, -1, descriptor, mode);
}
int futimens(int descriptor, const struct timespec times[2]) noexcept {
    return call(isWatched(descriptor), "settime", __func__, -1, descriptor, times);
}
}
