#include "auxiliary/systemhelper.h"

#include <utility>

namespace aux {

namespace {

std::function<bool(const QString&)>& remountHandler() {
    static std::function<bool(const QString&)> handler;
    return handler;
}

} // namespace

bool SystemHelper::remountReadOnly(const QString& mountDir) {
    const auto handler = remountHandler();
    return handler && handler(mountDir);
}

void SystemHelper::setRemountHandler(std::function<bool(const QString&)> handler) {
    remountHandler() = std::move(handler);
}

} // namespace aux
