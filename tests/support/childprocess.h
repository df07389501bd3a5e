// A process that a test starts.
#pragma once

#include <QtCore/QProcess>

// QProcess itself starts a child by a system call that the target's emulator does not know. For a
// derived class it forks, because such a class may have work for the child.
class ChildProcess : public QProcess {};
