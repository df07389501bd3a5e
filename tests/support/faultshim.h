// Control of the library of failing system calls, for a test that is linked with it. A program that
// has it preloaded is controlled by the environment: FAULT_ROOT, FAULT_CALLS, FAULT_AT and
// FAULT_ERRNO are the arguments below.
#pragma once

extern "C" {

// Makes calls of one kind ("open", "stat", "readdir", "read", "rename", "write") below the
// directory `root` fail. `at` is the number of the call that fails; -at: that call and all after
// it; 0: none, the calls are only counted. With the kind "byte", a read ends before byte `at` of a
// file, and fails if it begins there or behind it. `error` is the errno; 0: the calls return 0 and
// do nothing; negative: they work, but the signal -error is raised first.
void faults_arm(const char* root, const char* kind, int at, int error);

// Ends that; returns how many calls of the kind there were.
int faults_disarm();
}
