// Control of the library of failing system calls, for a test that is linked with it. A program that
// has it preloaded is controlled by the environment: FAULT_ROOT, FAULT_CALLS, FAULT_AT and
// FAULT_ERRNO are the arguments below.
#pragma once

extern "C" {

// Makes calls of one kind ("open", "stat", "read", "rename", "write") below the
// directory `root` fail: the `at`-th, or if that is negative all from the -at-th on; 0 only counts.
// With the kind "byte" a read ends before byte `at` of a file, and fails where it begins there or
// behind it. They fail with `error`. If that is 0 they return 0; if it is negative they work, but
// the signal -error comes before.
void faults_arm(const char* root, const char* kind, int at, int error);

// Ends that; returns how many calls of the kind there were.
int faults_disarm();
}
