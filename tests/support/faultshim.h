// System calls that fail on demand, as on a failing disk or a key that is pulled. A test is linked
// with this library, or preloads it into a program: FAULT_ROOT and FAULT in the program's
// environment are then the arguments of faults_arm().
#pragma once

extern "C" {

// Makes calls below the directory `root` fail. A fault is the kind of call, its number and the
// outcome:
//
//     "write 2 ENOSPC"   the second write fails with this errno
//     "read 2+ EIO"      all reads from the second on fail
//     "read 2 nothing"   the second read does nothing and returns 0
//     "read 2 SIGINT"    the second read works, but this signal is raised first
//     "any 2 EIO"        the second call of any kind fails; "any 0 EIO": none does
//     "byte 500 EIO"     reads end before byte 500 of a file, and fail if they begin there
//
// The kinds are open, tmpfile (an open of a file without a name), stat, readdir, read, write, sync,
// settime, setmode, link, rename and unlink.
void faults_arm(const char* root, const char* fault);

// Makes all calls of these kinds fail, too, as on a file system that does not have them. Call it
// after faults_arm().
void faults_miss(const char* kinds);

// Ends that; returns how many calls of the kind there were.
int faults_disarm();

// The kinds of all calls since faults_arm(), in their order, with spaces between them.
const char* faults_seen();
}
