// Control of the library of failing system calls, for a test that is linked with it. A program that
// has it preloaded is controlled by the environment: FAULT_ROOT, FAULT_CALLS, FAULT_AT, FAULT_ERRNO
// as the arguments below, and FAULT_REPORT, a file that is made when a call fails.
#pragma once

extern "C" {

// Makes calls of one kind ("open", "stat", "readdir", "read", "mkdir", "rename", "write") below the
// directory `root` fail with `error` (0: they return 0; -2: they work, but signal 2 comes before):
// the `at`-th, or if that is negative all from the -at-th on. 0 only counts. Kind "byte" are reads
// that want byte `at` of a file, or one behind it; a read that begins before it ends there.
void faults_arm(const char* root, const char* kind, int at, int error);

// Ends that; returns how many calls of the kind there were.
int faults_disarm();
}
