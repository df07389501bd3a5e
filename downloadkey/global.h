// Marks what the library exports. Everything else is hidden from the dynamic linker.
#pragma once

#include <QtCore/QtGlobal>

#define DOWNLOADKEY_EXPORT Q_DECL_EXPORT
