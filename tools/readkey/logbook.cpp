#include "logbook.h"

#include "text.h"

#include "downloadkey/vehicleinfo.h"

#include <algorithm>
#include <numeric>
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

auto identity(const Insertion& insertion) {
    return std::make_tuple(insertion.vehicle, insertion.inserted, insertion.slot, insertion.driver);
}

// Keeps of equal insertions the one that comes first: a closed one before open ones, then by file
// rank.
template <typename Iterator, typename Rank>
Iterator mergeEqual(Iterator begin, Iterator end, Rank rank) {
    std::stable_sort(begin, end, [&rank](const Insertion& a, const Insertion& b) {
        return std::make_tuple(identity(a), !a.withdrawn, rank(a)) <
               std::make_tuple(identity(b), !b.withdrawn, rank(b));
    });
    return std::unique(begin, end, [](const Insertion& a, const Insertion& b) {
        return identity(a) == identity(b);
    });
}

// Sorts `items`, drops those that are not wanted, and returns for each old index the new one, or
// -1.
template <typename Item, typename Key>
std::vector<int> sortWanted(std::vector<Item>& items, const std::vector<bool>& wanted, Key key) {
    std::vector<size_t> order;
    for (size_t i = 0; i < items.size(); ++i) {
        if (wanted[i])
            order.push_back(i);
    }
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return key(items[a]) < key(items[b]); });
    std::vector<int> newIndex(items.size(), -1);
    std::vector<Item> sorted;
    for (const size_t i : order) {
        newIndex[i] = static_cast<int>(sorted.size());
        sorted.push_back(std::move(items[i]));
    }
    items = std::move(sorted);
    return newIndex;
}

size_t index(int number) {
    return static_cast<size_t>(number);
}

template <typename Items, typename IsWanted>
void removeUnless(Items& items, IsWanted isWanted) {
    items.erase(std::remove_if(items.begin(), items.end(),
                               [&](const auto& item) { return !isWanted(item); }),
                items.end());
}

void insertSorted(std::vector<int>& numbers, int number) {
    const auto place = std::lower_bound(numbers.begin(), numbers.end(), number);
    if (place == numbers.end() || *place != number)
        numbers.insert(place, number);
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

LogbookBuilder::LogbookBuilder(Filter filter)
    : m_filter(std::move(filter)) {}

int LogbookBuilder::vehicleOf(const QString& plate) {
    const auto known = m_vehicles.constFind(plate);
    if (known != m_vehicles.constEnd())
        return *known;
    const int index = static_cast<int>(m_book.vehicles.size());
    m_book.vehicles.emplace_back();
    m_book.vehicles.back().plate = plate;
    m_vehicles.insert(plate, index);
    return index;
}

int LogbookBuilder::driverOf(const QString& name) {
    const auto known = m_drivers.constFind(name);
    if (known != m_drivers.constEnd())
        return *known;
    const int index = static_cast<int>(m_book.drivers.size());
    m_book.drivers.emplace_back();
    m_book.drivers.back().name = name.isEmpty() ? QStringLiteral("-") : name;
    m_drivers.insert(name, index);
    return index;
}

void LogbookBuilder::addVehicle(LogFile file, downloadkey::VehicleInfo& info) {
    file.plate = info.getPlateString();
    file.vehicle = vehicleOf(file.plate);
    const qint64 time = file.downloaded.isValid() ? file.downloaded.toSecsSinceEpoch() : 0;
    VehicleSummary& vehicle = m_book.vehicles[index(file.vehicle)];
    vehicle.lastDownload = std::max(vehicle.lastDownload, time);
    m_book.newestDownload = std::max(m_book.newestDownload, time);

    QHash<QString, int> drivers; // most holders come again and again
    std::vector<Insertion>& insertions = m_book.insertions;
    const auto begin = static_cast<std::ptrdiff_t>(insertions.size());
    for (const auto& activity : info.getDriverActivities()) {
        auto driver = drivers.find(activity.holderName);
        if (driver == drivers.end())
            driver = drivers.insert(activity.holderName, driverOf(driverName(activity.holderName)));
        insertions.push_back(insertionOf(activity));
        insertions.back().vehicle = file.vehicle;
        insertions.back().driver = *driver;
        insertions.back().file = static_cast<int>(m_book.files.size());
    }
    const auto end = mergeEqual(insertions.begin() + begin, insertions.end(),
                                [](const Insertion& /*insertion*/) { return 0; });
    const auto count = static_cast<size_t>(end - insertions.begin() - begin);
    insertions.erase(end, insertions.end());
    file.contents = (file.plate.isEmpty() ? QStringLiteral("-") : file.plate) +
                    QStringLiteral(", ") + counted(count, "insertion");
    m_book.files.push_back(std::move(file));
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
    const qint64 time = file.downloaded.isValid() ? file.downloaded.toSecsSinceEpoch() : 0;
    m_book.newestDownload = std::max(m_book.newestDownload, time);
    if (!isDriverCard(file.cardType))
        return;
    file.holder = file.holder.simplified();
    file.contents += QLatin1Char(' ') + file.cardNumber + QLatin1Char(' ') + file.holder;
    file.driver = driverOf(file.holder);
    DriverSummary& driver = m_book.drivers[index(file.driver)];
    if (driver.cardDownload && *driver.cardDownload >= time)
        return;
    driver.cardDownload = time;
    driver.cardNumber = file.cardNumber;
    driver.cardGeneration = file.cardGeneration;
}

Logbook LogbookBuilder::finish() {
    mergeInsertions();
    findGaps();
    applyFilter();
    arrange();
    sumUp();
    m_vehicles.clear();
    m_drivers.clear();
    return std::move(m_book);
}

void LogbookBuilder::mergeInsertions() {
    std::vector<int> byAge(m_book.files.size());
    std::iota(byAge.begin(), byAge.end(), 0);
    std::stable_sort(byAge.begin(), byAge.end(), [this](int a, int b) {
        const auto time = [this](int i) { return m_book.files[index(i)].downloaded; };
        return time(b) < time(a);
    });
    std::vector<int> rank(byAge.size());
    for (size_t i = 0; i < byAge.size(); ++i)
        rank[index(byAge[i])] = static_cast<int>(i);
    std::vector<Insertion>& insertions = m_book.insertions;
    insertions.erase(
        mergeEqual(insertions.begin(), insertions.end(),
                   [&rank](const Insertion& insertion) { return rank[index(insertion.file)]; }),
        insertions.end());
    m_book.insertionsFound = insertions.size();
}

// The insertions are ordered by vehicle and time.
void LogbookBuilder::findGaps() {
    const Insertion* before = nullptr;
    for (const Insertion& insertion : m_book.insertions) {
        if (insertion.slot != driverSlot)
            continue;
        if (before && before->vehicle == insertion.vehicle && before->withdrawn &&
            before->odometerAtWithdrawal && insertion.odometerAtInsertion &&
            *before->withdrawn <= insertion.inserted &&
            *before->odometerAtWithdrawal < *insertion.odometerAtInsertion)
            m_book.gaps.push_back({insertion.vehicle, *before->withdrawn, insertion.inserted,
                                   *before->odometerAtWithdrawal, *insertion.odometerAtInsertion});
        before = &insertion;
    }
}

void LogbookBuilder::applyFilter() {
    const QString plate = QString(m_filter.plate).remove(QLatin1Char(' '));
    for (const VehicleSummary& vehicle : m_book.vehicles)
        m_vehicleWanted.push_back(
            QString(vehicle.plate).remove(QLatin1Char(' ')).contains(plate, Qt::CaseInsensitive));
    for (const DriverSummary& driver : m_book.drivers)
        m_driverWanted.push_back(driver.name.contains(m_filter.driver, Qt::CaseInsensitive) ||
                                 driver.cardNumber.contains(m_filter.driver, Qt::CaseInsensitive));
    if (m_filter.isActive()) {
        removeUnless(m_book.insertions,
                     [this](const Insertion& insertion) { return isWanted(insertion); });
        removeUnless(m_book.gaps, [this](const Gap& gap) { return isWanted(gap); });
    }
    // What has no insertions is shown where nothing was asked that only insertions can answer.
    if (m_filter.from || m_filter.to || !m_filter.driver.isEmpty())
        m_vehicleWanted.assign(m_vehicleWanted.size(), false);
    if (m_filter.from || m_filter.to || !m_filter.plate.isEmpty())
        m_driverWanted.assign(m_driverWanted.size(), false);
    for (const Insertion& insertion : m_book.insertions) {
        m_vehicleWanted[index(insertion.vehicle)] = true;
        m_driverWanted[index(insertion.driver)] = true;
    }
    for (const Gap& gap : m_book.gaps)
        m_vehicleWanted[index(gap.vehicle)] = true;
}

bool LogbookBuilder::isWanted(const Insertion& insertion) const {
    // An open insertion lasts until the download that it was taken from, as far as anyone knows.
    const QDateTime& seen = m_book.files[index(insertion.file)].downloaded;
    const qint64 end =
        insertion.withdrawn.value_or(seen.isValid() ? seen.toSecsSinceEpoch() : insertion.inserted);
    return m_vehicleWanted[index(insertion.vehicle)] && m_driverWanted[index(insertion.driver)] &&
           overlaps(insertion.inserted, std::max(insertion.inserted, end));
}

// A stretch without a card is no driver's.
bool LogbookBuilder::isWanted(const Gap& gap) const {
    return m_vehicleWanted[index(gap.vehicle)] && m_filter.driver.isEmpty() &&
           overlaps(gap.from, gap.to);
}

bool LogbookBuilder::overlaps(qint64 from, qint64 to) const {
    return (!m_filter.from || to >= *m_filter.from) && (!m_filter.to || from < *m_filter.to);
}

// Brings everything into its order, without vehicles and drivers that are not wanted.
void LogbookBuilder::arrange() {
    const std::vector<int> vehicles =
        sortWanted(m_book.vehicles, m_vehicleWanted,
                   [](const VehicleSummary& vehicle) -> const QString& { return vehicle.plate; });
    const std::vector<int> drivers =
        sortWanted(m_book.drivers, m_driverWanted,
                   [](const DriverSummary& driver) -> const QString& { return driver.name; });
    for (LogFile& file : m_book.files) {
        file.vehicle = file.vehicle < 0 ? -1 : vehicles[index(file.vehicle)];
        file.driver = file.driver < 0 ? -1 : drivers[index(file.driver)];
    }
    for (Insertion& insertion : m_book.insertions) {
        insertion.vehicle = vehicles[index(insertion.vehicle)];
        insertion.driver = drivers[index(insertion.driver)];
    }
    for (Gap& gap : m_book.gaps)
        gap.vehicle = vehicles[index(gap.vehicle)];
    // The order by time within a vehicle stays.
    const auto byVehicle = [](const auto& a, const auto& b) { return a.vehicle < b.vehicle; };
    std::stable_sort(m_book.insertions.begin(), m_book.insertions.end(), byVehicle);
    std::stable_sort(m_book.gaps.begin(), m_book.gaps.end(), byVehicle);
}

void LogbookBuilder::sumUp() {
    for (size_t i = 0; i < m_book.insertions.size(); ++i) {
        const Insertion& insertion = m_book.insertions[i];
        VehicleSummary& vehicle = m_book.vehicles[index(insertion.vehicle)];
        DriverSummary& driver = m_book.drivers[index(insertion.driver)];
        vehicle.insertions.push_back(static_cast<int>(i));
        driver.insertions.push_back(static_cast<int>(i));
        insertSorted(vehicle.drivers, insertion.driver);
        insertSorted(driver.vehicles, insertion.vehicle);
        driver.seconds += insertion.duration();
        if (insertion.slot != driverSlot)
            continue;
        vehicle.seconds += insertion.duration();
        vehicle.kilometres += insertion.distance().value_or(0);
        driver.kilometres += insertion.distance().value_or(0);
    }
    for (size_t i = 0; i < m_book.gaps.size(); ++i) {
        const Gap& gap = m_book.gaps[i];
        VehicleSummary& vehicle = m_book.vehicles[index(gap.vehicle)];
        vehicle.gaps.push_back(static_cast<int>(i));
        vehicle.kilometresWithoutCard += qint64{gap.toOdometer} - gap.fromOdometer;
    }
    for (VehicleSummary& vehicle : m_book.vehicles)
        vehicle.overdue =
            m_book.newestDownload - vehicle.lastDownload > vehicleDownloadDays * secondsPerDay;
    for (DriverSummary& driver : m_book.drivers) {
        driver.overdue = driver.cardDownload && m_book.newestDownload - *driver.cardDownload >
                                                    cardDownloadDays * secondsPerDay;
        std::sort(driver.insertions.begin(), driver.insertions.end(), [this](int a, int b) {
            return m_book.insertions[index(a)].inserted < m_book.insertions[index(b)].inserted;
        });
    }
}

} // namespace readkey
