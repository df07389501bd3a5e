// A host whose DownloadKey is static: it closes the key when Qt's own statics have gone.
#include "downloadkey/downloadkey.h"

#include "auxiliary/configuration.h"

#include <QtCore/QLoggingCategory>

namespace {

struct Owner {
    ~Owner() {
        if (QLoggingCategory::defaultCategory() != nullptr)
            qFatal("Qt's category is there still: this program shows nothing");
        key.close();
    }
    aux::Configuration configuration;
    downloadkey::DownloadKey key{configuration};
} owner;

} // namespace

int main() {
    owner.key.init(); // creates Qt's category, after the owner
    return 0;
}
