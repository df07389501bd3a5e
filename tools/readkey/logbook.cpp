#include "logbook.h"

#include "text.h"

#include "downloadkey/vehicleinfo.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <tuple>

namespace readkey {

namespace {

// The library's "first names, surname" as cards have it: "first names surname".
QString driverName(const QString& holder) {
    QString name = holder;
    const int comma = name.lastIndexOf(QLatin1String(", "));
    if (comma >= 0)
        name.remove(comma, 1);
    return name.simplified();
}

std::optional<quint32> kilometres(quint32 odometer) {
    return odometer == downloadkey::noOdometerValue ? std::nullopt : std::make_optional(odometer);
}

Insertion insertionOf(const downloadkey::VehicleInfo::_FeDriverActivities& activity) {
    Insertion result;
    result.slot = activity.slot;
    result.inserted = activity.insertionTime.toSecsSinceEpoch();
    const qint64 withdrawn = activity.withdrawalTime.toSecsSinceEpoch();
    if (withdrawn != 0 && withdrawn != downloadkey::notWithdrawn)
        result.withdrawn = withdrawn;
    result.odometerAtInsertion = kilometres(activity.odometerAtInsertion);
    result.odometerAtWithdrawal = kilometres(activity.odometerAtWithdrawal);
    return result;
}

// The index of the item with this text in its member, which is added where there is none.
template <typename Item>
size_t indexOf(const QString& text, QString Item::*member, std::vector<Item>& items,
               QHash<QString, size_t>& indices) {
    const auto known = indices.constFind(text);
    if (known != indices.constEnd())
        return *known;
    items.emplace_back().*member = text;
    return *indices.insert(text, items.size() - 1);
}

// Orders the insertions from `begin` on, and keeps of equal ones the one from the newest download
// that closes it.
void mergeEqual(Logbook& book, size_t begin) {
    const auto identity = [](const Insertion& a) {
        return std::make_tuple(a.vehicle, a.inserted, a.slot, a.driver);
    };
    const auto rank = [&book](const Insertion& a) {
        return std::make_tuple(!a.withdrawn, -book.files[a.file].downloaded.value_or(0));
    };
    std::vector<Insertion>& all = book.insertions;
    const auto first = all.begin() + static_cast<std::ptrdiff_t>(begin);
    std::stable_sort(first, all.end(), [&](const Insertion& a, const Insertion& b) {
        return std::make_pair(identity(a), rank(a)) < std::make_pair(identity(b), rank(b));
    });
    all.erase(std::unique(first, all.end(),
                          [&identity](const Insertion& a, const Insertion& b) {
                              return identity(a) == identity(b);
                          }),
              all.end());
}

// The insertions are ordered by vehicle and time.
void findGaps(Logbook& book) {
    const Insertion* before = nullptr;
    for (const Insertion& insertion : book.insertions) {
        if (insertion.slot != driverSlot)
            continue;
        if (before && before->vehicle == insertion.vehicle && before->withdrawn &&
            before->odometerAtWithdrawal && insertion.odometerAtInsertion &&
            *before->withdrawn <= insertion.inserted &&
            *before->odometerAtWithdrawal < *insertion.odometerAtInsertion)
            book.gaps.push_back({insertion.vehicle, *before->withdrawn, insertion.inserted,
                                 *before->odometerAtWithdrawal, *insertion.odometerAtInsertion});
        before = &insertion;
    }
}

template <typename Item, typename IsWanted>
void removeUnless(std::vector<Item>& items, IsWanted isWanted) {
    items.erase(std::remove_if(items.begin(), items.end(),
                               [&](const Item& item) { return !isWanted(item); }),
                items.end());
}

bool fits(const VehicleSummary& vehicle, const Filter& filter) {
    const auto withoutBlanks = [](QString text) { return text.remove(QLatin1Char(' ')); };
    return withoutBlanks(vehicle.plate).contains(withoutBlanks(filter.plate), Qt::CaseInsensitive);
}

bool fits(const DriverSummary& driver, const Filter& filter) {
    return driver.name.contains(filter.driver, Qt::CaseInsensitive) ||
           driver.cardNumber.contains(filter.driver, Qt::CaseInsensitive);
}

void filterRecords(Logbook& book, const Filter& filter) {
    if (!filter.isActive())
        return;
    const auto overlaps = [&filter](qint64 from, qint64 to) {
        return (!filter.from || to >= *filter.from) && (!filter.to || from < *filter.to);
    };
    removeUnless(book.insertions, [&](const Insertion& insertion) {
        // An open one lasts until the download that it was taken from, as far as anyone knows.
        const qint64 end = insertion.withdrawn.value_or(
            book.files[insertion.file].downloaded.value_or(insertion.inserted));
        return fits(book.vehicles[insertion.vehicle], filter) &&
               fits(book.drivers[insertion.driver], filter) &&
               overlaps(insertion.inserted, std::max(insertion.inserted, end));
    });
    // A stretch without a card is no driver's.
    removeUnless(book.gaps, [&](const Gap& gap) {
        return fits(book.vehicles[gap.vehicle], filter) && filter.driver.isEmpty() &&
               overlaps(gap.from, gap.to);
    });
}

void sumUp(Logbook& book) {
    std::set<std::pair<size_t, size_t>> pairs; // of a vehicle and a driver
    for (const Insertion& insertion : book.insertions) {
        VehicleSummary& vehicle = book.vehicles[insertion.vehicle];
        DriverSummary& driver = book.drivers[insertion.driver];
        ++vehicle.insertions;
        ++driver.insertions;
        if (pairs.insert({insertion.vehicle, insertion.driver}).second) {
            ++vehicle.drivers;
            ++driver.vehicles;
        }
        driver.seconds += insertion.duration();
        if (insertion.slot != driverSlot)
            continue;
        vehicle.seconds += insertion.duration();
        vehicle.kilometres += insertion.distance().value_or(0);
        driver.kilometres += insertion.distance().value_or(0);
    }
    for (const Gap& gap : book.gaps)
        book.vehicles[gap.vehicle].kilometresWithoutCard +=
            qint64{gap.toOdometer} - gap.fromOdometer;
    const auto isOverdue = [&book](std::optional<qint64> download, qint64 days) {
        return download && book.newestDownload.value_or(0) - *download > days * secondsPerDay;
    };
    for (VehicleSummary& vehicle : book.vehicles)
        vehicle.overdue = isOverdue(vehicle.lastDownload, vehicleDownloadDays);
    for (DriverSummary& driver : book.drivers)
        driver.overdue = isOverdue(driver.cardDownload, cardDownloadDays);
}

// Sorts `items` by name, drops those that are not wanted, and returns for each old index the new
// one.
template <typename Item, typename IsWanted>
std::vector<size_t> sortWanted(std::vector<Item>& items, QString Item::*name, IsWanted isWanted) {
    std::vector<size_t> order(items.size());
    std::iota(order.begin(), order.end(), size_t{0});
    removeUnless(order, [&](size_t i) { return isWanted(items[i]); });
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return items[a].*name < items[b].*name; });
    std::vector<size_t> newIndex(items.size());
    std::vector<Item> sorted;
    for (const size_t i : order) {
        newIndex[i] = sorted.size();
        sorted.push_back(std::move(items[i]));
    }
    items = std::move(sorted);
    return newIndex;
}

// Brings everything into its order. Vehicles and drivers without a record stay, unless the filter
// asks for something that only records can answer.
void arrange(Logbook& book, const Filter& filter) {
    const bool anyTime = !filter.from && !filter.to;
    const auto vehicles =
        sortWanted(book.vehicles, &VehicleSummary::plate, [&](const VehicleSummary& vehicle) {
            return vehicle.insertions > 0 || vehicle.kilometresWithoutCard > 0 ||
                   (anyTime && filter.driver.isEmpty() && fits(vehicle, filter));
        });
    const auto drivers =
        sortWanted(book.drivers, &DriverSummary::name, [&](const DriverSummary& driver) {
            return driver.insertions > 0 ||
                   (anyTime && filter.plate.isEmpty() && fits(driver, filter));
        });
    for (Insertion& insertion : book.insertions) {
        insertion.vehicle = vehicles[insertion.vehicle];
        insertion.driver = drivers[insertion.driver];
    }
    for (Gap& gap : book.gaps)
        gap.vehicle = vehicles[gap.vehicle];
    // The order by time within a vehicle stays.
    const auto byVehicle = [](const auto& a, const auto& b) { return a.vehicle < b.vehicle; };
    std::stable_sort(book.insertions.begin(), book.insertions.end(), byVehicle);
    std::stable_sort(book.gaps.begin(), book.gaps.end(), byVehicle);
}

} // namespace

std::optional<qint64> Insertion::distance() const {
    if (!odometerAtInsertion || !odometerAtWithdrawal ||
        *odometerAtWithdrawal < *odometerAtInsertion)
        return std::nullopt;
    return qint64{*odometerAtWithdrawal} - *odometerAtInsertion;
}

qint64 Insertion::duration() const {
    return withdrawn ? std::max(*withdrawn - inserted, qint64{0}) : 0;
}

void LogbookBuilder::addVehicle(LogFile file, downloadkey::VehicleInfo& info) {
    file.plate = info.getPlateString();
    const size_t index = indexOf(file.plate, &VehicleSummary::plate, m_book.vehicles, m_vehicles);
    VehicleSummary& vehicle = m_book.vehicles[index];
    vehicle.lastDownload = std::max(vehicle.lastDownload, file.downloaded);
    m_book.newestDownload = std::max(m_book.newestDownload, file.downloaded);
    m_book.files.push_back(std::move(file));

    QHash<QString, size_t> drivers; // most holders come again and again
    const size_t begin = m_book.insertions.size();
    for (const auto& activity : info.getDriverActivities()) {
        auto driver = drivers.constFind(activity.holderName);
        if (driver == drivers.constEnd())
            driver = drivers.insert(activity.holderName, driverOf(driverName(activity.holderName)));
        Insertion& insertion = m_book.insertions.emplace_back(insertionOf(activity));
        insertion.vehicle = index;
        insertion.driver = *driver;
        insertion.file = m_book.files.size() - 1;
    }
    mergeEqual(m_book, begin);
    m_book.files.back().contents = orDash(vehicle.plate) + QStringLiteral(", ") +
                                   counted(m_book.insertions.size() - begin, "insertion");
}

void LogbookBuilder::addFile(LogFile file) {
    if (file.status == LogFile::Failed)
        file.contents = QStringLiteral("failed");
    else if (file.status == LogFile::Skipped)
        file.contents = QStringLiteral("not a download: ") + file.reason;
    else
        takeCard(file);
    m_book.files.push_back(std::move(file));
}

void LogbookBuilder::takeCard(LogFile& file) {
    file.contents = cardTypeName(file.cardType) + QStringLiteral(" card");
    m_book.newestDownload = std::max(m_book.newestDownload, file.downloaded);
    if (!isDriverCard(file.cardType))
        return;
    file.holder = file.holder.simplified();
    file.contents += QLatin1Char(' ') + file.cardNumber + QLatin1Char(' ') + file.holder;
    DriverSummary& driver = m_book.drivers[driverOf(file.holder)];
    if (driver.cardDownload >= file.downloaded)
        return;
    driver.cardDownload = file.downloaded;
    driver.cardNumber = file.cardNumber;
    driver.cardGeneration = file.cardGeneration;
}

size_t LogbookBuilder::driverOf(const QString& name) {
    return indexOf(name, &DriverSummary::name, m_book.drivers, m_drivers);
}

Logbook LogbookBuilder::finish(const Filter& filter) {
    mergeEqual(m_book, 0);
    m_book.insertionsFound = m_book.insertions.size();
    findGaps(m_book);
    filterRecords(m_book, filter);
    sumUp(m_book);
    arrange(m_book, filter);
    return std::move(m_book);
}

} // namespace readkey
