#include "logbook.h"

#include "text.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <tuple>

namespace readkey {

namespace {

// "First names surname", of a vehicle unit's "first names, surname" or a card's name.
QString driverName(const QString& holder) {
    return QString(holder).replace(QLatin1Char(','), QLatin1Char(' ')).simplified();
}

// The item known by this text; a new one if there is none.
template <typename Item>
Item& itemOf(const QString& text, std::list<Item>& items, QHash<QString, Item*>& known) {
    Item*& item = known[text];
    if (!item) {
        item = &items.emplace_back();
        item->index = items.size() - 1;
    }
    return *item;
}

void number(Logbook& book) {
    size_t next = 0;
    for (VehicleSummary& vehicle : book.vehicles)
        vehicle.index = next++;
    next = 0;
    for (DriverSummary& driver : book.drivers)
        driver.index = next++;
}

auto identity(const Stretch& insertion) {
    return std::tie(insertion.vehicle->index, insertion.from, insertion.slot,
                    insertion.driver->name);
}

bool isSame(const Stretch& a, const Stretch& b) {
    return identity(a) == identity(b);
}

// None if it is not known or not believed.
std::optional<qint64> downloadOf(const Stretch& insertion) {
    return insertion.file->isFromFuture ? std::nullopt : insertion.file->downloaded;
}

// Orders the insertions. Of equal ones it keeps that of the newest download that closes it.
void merge(std::vector<Stretch>& all) {
    const auto rank = [](const Stretch& a) {
        return std::make_tuple(a.to.has_value(), downloadOf(a), a.to, a.odometerTo, a.odometerFrom);
    };
    std::stable_sort(all.begin(), all.end(), [&](const Stretch& a, const Stretch& b) {
        return std::make_pair(identity(a), rank(b)) < std::make_pair(identity(b), rank(a));
    });
    for (size_t i = all.size(); i > 1; --i) {
        if (isSame(all[i - 2], all[i - 1]))
            all[i - 2].knownFrom = std::max(all[i - 2].knownFrom, all[i - 1].knownFrom);
    }
    all.erase(std::unique(all.begin(), all.end(), isSame), all.end());
}

// Sets how far back one file knows the driver's slot before each insertion into it.
void findKnown(std::vector<Stretch>& insertions) {
    std::optional<qint64> withdrawn; // the latest so far
    for (Stretch& insertion : insertions) {
        if (insertion.slot != driverSlot)
            continue;
        insertion.knownFrom = withdrawn;
        if (insertion.to)
            withdrawn = std::max(withdrawn, std::make_optional(insertion.end));
    }
}

// An open insertion may have lasted until its download, or the next card in its slot.
void findEnds(std::vector<Stretch>& insertions) {
    std::map<std::pair<VehicleSummary*, quint16>, qint64> following;
    for (auto i = insertions.rbegin(); i != insertions.rend(); ++i) {
        const auto next = following.insert({{i->vehicle, i->slot}, INT64_MAX}).first;
        if (!i->to)
            i->end = std::max(i->from, std::min(downloadOf(*i).value_or(0), next->second));
        next->second = i->from;
    }
}

void addGap(std::vector<Stretch>& all, const Stretch& before, const Stretch& after) {
    Stretch gap;
    gap.from = before.end;
    gap.to = gap.end = after.from;
    const bool isKnown = before.to && after.knownFrom == gap.from;
    gap.kind = isKnown ? Stretch::WithoutCard : Stretch::WithoutData;
    gap.vehicle = after.vehicle;
    const bool isOne = isKnown || !gap.vehicle->plate.isEmpty(); // surely one vehicle
    gap.odometerFrom = before.to && isOne ? before.odometerTo : std::nullopt;
    gap.odometerTo = after.odometerFrom;
    gap.file = before.file;
    gap.fileAfter = after.file;
    const bool wasDriven = gap.distance().value_or(0) > 0;
    if (gap.from <= gap.to && (wasDriven || (!isKnown && gap.from < gap.to)))
        all.push_back(gap);
}

// Puts the gaps between the insertions, which are ordered by vehicle and time.
void findGaps(std::vector<Stretch>& stretches) {
    std::vector<Stretch> gaps;
    const Stretch* last = nullptr; // of the insertions so far, the one that ends last
    for (const Stretch& insertion : stretches) {
        if (insertion.slot != driverSlot)
            continue;
        const bool isFirst = !last || last->vehicle != insertion.vehicle;
        if (!isFirst)
            addGap(gaps, *last, insertion);
        if (isFirst || last->end <= insertion.end)
            last = &insertion;
    }
    stretches.insert(stretches.end(), gaps.begin(), gaps.end());
    std::stable_sort(stretches.begin(), stretches.end(), [](const Stretch& a, const Stretch& b) {
        return std::tie(a.vehicle->index, a.from) < std::tie(b.vehicle->index, b.from);
    });
}

template <typename Item, typename IsWanted>
void removeUnless(std::vector<Item>& items, IsWanted isWanted) {
    items.erase(std::remove_if(items.begin(), items.end(), std::not_fn(isWanted)), items.end());
}

void filterRecords(Logbook& book, const Filter& filter) {
    book.countsGaps = filter.driver.isEmpty();
    for (VehicleSummary& vehicle : book.vehicles)
        vehicle.isWanted = matches(vehicle.plate, filter.plate);
    for (DriverSummary& driver : book.drivers) {
        driver.isWanted = matches(driver.name, filter.driver);
        for (const CardSummary& card : driver.cards)
            driver.isWanted |= matches(card.number, filter.driver);
    }
    for (Stretch& stretch : book.stretches)
        stretch.crosses = (filter.from && stretch.from < *filter.from) ||
                          (filter.to && stretch.end >= *filter.to);
    removeUnless(book.stretches, [&](const Stretch& stretch) {
        // A gap does not belong to a driver.
        const bool isOfDriver = stretch.driver ? stretch.driver->isWanted : book.countsGaps;
        return isOfDriver && stretch.vehicle->isWanted &&
               (!filter.from || stretch.end >= *filter.from) &&
               (!filter.to || stretch.from < *filter.to);
    });
}

// Adds a part to the totals of a vehicle, say, and to their crossing part.
template <typename Summary>
void add(const Stretch& stretch, const Totals& part, Summary& sum) {
    sum.totals += part;
    if (stretch.crosses)
        sum.crossing += part;
}

void sumUp(Logbook& book) {
    std::set<std::pair<VehicleSummary*, DriverSummary*>> pairs;
    for (const Stretch& stretch : book.stretches) {
        const qint64 distance = stretch.distance().value_or(0);
        Totals part;
        if (stretch.driver) {
            if (pairs.insert({stretch.vehicle, stretch.driver}).second) {
                ++stretch.vehicle->drivers;
                ++stretch.driver->vehicles;
            }
            const bool drives = stretch.slot == driverSlot;
            part = {1, drives ? distance : 0, stretch.to ? stretch.end - stretch.from : 0};
            add(stretch, part, *stretch.driver);
            part.seconds = drives ? part.seconds : 0;
        } else {
            (stretch.kind == Stretch::WithoutCard ? part.kilometresWithoutCard
                                                  : part.kilometresWithoutData) = distance;
        }
        add(stretch, part, *stretch.vehicle);
        add(stretch, part, book);
    }
}

// Vehicles and drivers without a record stay, unless the filter needs records to decide. Files stay
// if anything shown was taken from them, or if they failed.
void filterOthers(Logbook& book, const Filter& filter) {
    const bool anyTime = !filter.from && !filter.to;
    std::set<const void*> used;
    for (const Stretch& stretch : book.stretches)
        used.insert({stretch.vehicle, stretch.driver, stretch.file, stretch.fileAfter});
    book.vehicles.remove_if([&](const VehicleSummary& vehicle) {
        return used.count(&vehicle) == 0 &&
               !(anyTime && filter.driver.isEmpty() && vehicle.isWanted);
    });
    book.drivers.remove_if([&](const DriverSummary& driver) {
        return used.count(&driver) == 0 && !(anyTime && filter.plate.isEmpty() && driver.isWanted);
    });
    for (const VehicleSummary& vehicle : book.vehicles)
        used.insert(vehicle.lastDownload.file);
    for (const DriverSummary& driver : book.drivers)
        for (const CardSummary& card : driver.cards)
            used.insert(card.lastDownload.file);
    book.files.remove_if([&](const LogFile& file) {
        return used.count(&file) == 0 && file.status != LogFile::Failed &&
               file.copy != FileCopier::Failed;
    });
}

QString holderOf(const CardSummary& card) {
    return card.number.left(14);
}

// The newest downloads come first; of equal ones the card that was renewed, then replaced, more
// often: these characters count from 0 to 9, then from A to Z.
auto byHolder(const CardSummary& card, const CardSummary& newer) {
    return std::make_tuple(holderOf(card), newer.lastDownload.rank(),
                           newer.number.mid(15, 1) + newer.number.mid(14, 1), newer.generation);
}

// Takes the cards of one driver name, one for each file, keeps the newest download of each, orders
// them, and decides which count.
void sortCards(DriverSummary& driver) {
    std::vector<CardSummary>& cards = driver.cards;
    std::stable_sort(cards.begin(), cards.end(), [](const CardSummary& a, const CardSummary& b) {
        return byHolder(a, b) < byHolder(b, a);
    });
    std::set<QString> known;
    removeUnless(cards, [&](const CardSummary& card) { return known.insert(card.number).second; });
    for (size_t i = 0; i < cards.size(); ++i) {
        cards[i].counts = i == 0 || holderOf(cards[i]) != holderOf(cards[i - 1]);
        driver.holders += cards[i].counts && !driver.name.isEmpty() ? 1 : 0;
    }
}

void judgeDownloads(Logbook& book, const Clock& clock) {
    const auto judge = [&](Download& download, qint64 allowedDays) {
        if (!download.time)
            return;
        download.age = clock.date(*download.time).daysTo(book.asOf);
        download.isOverdue = *download.age > allowedDays;
    };
    for (VehicleSummary& vehicle : book.vehicles)
        judge(vehicle.lastDownload, vehicleDownloadDays);
    // A holder may have had another name.
    std::map<QString, decltype(byHolder({}, {}))> newest;
    for (DriverSummary& driver : book.drivers) {
        sortCards(driver);
        for (const CardSummary& card : driver.cards)
            newest[holderOf(card)] = std::max(newest[holderOf(card)], byHolder(card, card));
    }
    for (DriverSummary& driver : book.drivers) {
        for (CardSummary& card : driver.cards) {
            card.counts &= card.number.isEmpty() || newest[holderOf(card)] == byHolder(card, card);
            judge(card.lastDownload, cardDownloadDays);
            card.lastDownload.isOverdue &= card.counts;
        }
        // A card without a name may be anybody's.
        const bool isMissing = book.counts.driverCards > 0 && !driver.name.isEmpty();
        if (driver.cards.empty())
            driver.cards.push_back({{}, {}, {{}, {}, isMissing}, true});
    }
}

// The text as a search compares it.
QString essence(const QString& text) {
    static const QString letters = QStringLiteral("ŁØĐĦŦÐÆŒÞ");
    static const char* const plain[] = {"L", "O", "D", "H", "T", "D", "AE", "OE", "TH"};
    QString result;
    for (const QChar c : text.normalized(QString::NormalizationForm_KD).toUpper()) {
        const int letter = letters.indexOf(c);
        if (letter >= 0)
            result += QLatin1String(plain[letter]);
        else if (!c.isSpace() && !c.isMark() && c != QLatin1Char(','))
            result += c;
    }
    return result;
}

} // namespace

QString nameOf(const DriverSummary& driver) {
    return driver.holders > 1 ? QStringLiteral("%1 (%2 drivers)")
                                    .arg(orDash(driver.name), QString::number(driver.holders))
                              : orDash(driver.name);
}

std::optional<quint32> kilometres(quint32 odometer) {
    return odometer == downloadkey::noOdometerValue ? std::nullopt : std::make_optional(odometer);
}

bool isDriverCard(int type) {
    return type == static_cast<int>(downloadkey::DownloadKey::CardType::DriverCard);
}

QString cardTypeName(int type) {
    static const char* const names[] = {"driver", "workshop", "control", "company"};
    return type >= 1 && type <= 4 ? QString::fromLatin1(names[type - 1]) : QString::number(type);
}

bool matches(const QString& text, const QString& typed) {
    const QString all = essence(text);
    const QStringList words = driverName(typed).split(QLatin1Char(' '));
    return std::all_of(words.begin(), words.end(),
                       [&all](const QString& word) { return all.contains(essence(word)); });
}

Totals& Totals::operator+=(const Totals& part) {
    insertions += part.insertions;
    kilometres += part.kilometres;
    seconds += part.seconds;
    kilometresWithoutCard += part.kilometresWithoutCard;
    kilometresWithoutData += part.kilometresWithoutData;
    return *this;
}

std::optional<qint64> Stretch::distance() const {
    return odometerFrom && odometerTo && *odometerFrom <= *odometerTo
               ? std::make_optional(qint64{*odometerTo} - *odometerFrom)
               : std::nullopt;
}

QString Logbook::placeOf(const Failure& failure) const {
    const QString key = hasSeveralKeys ? failure.key + QStringLiteral(": ") : QString();
    return failure.file.isEmpty() ? failure.key : key + failure.file;
}

void Logbook::addVehicle(LogFile file, downloadkey::VehicleInfo& info) {
    LogFile& added = files.emplace_back(std::move(file));
    added.plate = info.getPlateString();
    VehicleSummary& vehicle = vehicleOf(added.plate);
    vehicle.plate = added.plate;

    QHash<QString, DriverSummary*> known; // most holders come again and again
    std::vector<Stretch> insertions;
    for (const auto& activity : info.getDriverActivities()) {
        DriverSummary*& driver = known[activity.holderName];
        if (!driver)
            driver = &driverOf(driverName(activity.holderName));
        Stretch& insertion = insertions.emplace_back();
        insertion.vehicle = &vehicle;
        insertion.driver = driver;
        insertion.file = &added;
        insertion.slot = activity.slot;
        insertion.from = activity.insertionTime.toSecsSinceEpoch();
        const qint64 withdrawn = activity.withdrawalTime.toSecsSinceEpoch();
        if (withdrawn != 0 && withdrawn != downloadkey::notWithdrawn)
            insertion.to = withdrawn;
        insertion.end = std::max(insertion.from, insertion.to.value_or(0));
        insertion.odometerFrom = kilometres(activity.odometerAtInsertion);
        insertion.odometerTo = kilometres(activity.odometerAtWithdrawal);
    }
    merge(insertions);
    findKnown(insertions);
    stretches.insert(stretches.end(), insertions.begin(), insertions.end());
    added.contents = orDash(added.plate) + QStringLiteral(", ") +
                     counted(static_cast<qint64>(insertions.size()), "insertion");
}

void Logbook::addFile(LogFile file) {
    if (file.status == LogFile::Failed)
        file.contents = QStringLiteral("failed");
    else if (file.status == LogFile::Skipped)
        file.contents = QStringLiteral("left alone: ") + file.reason;
    else
        file.contents = cardTypeName(file.cardType) + QStringLiteral(" card");
    if (isDriverCard(file.cardType)) {
        file.holder = driverName(file.holder);
        file.contents += QLatin1Char(' ') + file.cardNumber + QLatin1Char(' ') + file.holder;
    }
    files.push_back(std::move(file));
}

VehicleSummary& Logbook::vehicleOf(const QString& plate) {
    return itemOf(plate.toUpper().simplified().remove(QLatin1Char(' ')), vehicles, m_vehicles);
}

DriverSummary& Logbook::driverOf(const QString& name) {
    DriverSummary& driver = itemOf(name, drivers, m_drivers);
    driver.name = name;
    return driver;
}

void Logbook::doubtCopies() {
    for (LogFile& file : files) {
        if (file.copy != FileCopier::NotAsked)
            file.copy = FileCopier::Failed;
    }
}

// Counts the files, and gives each vehicle its newest download and each driver the cards.
void Logbook::takeDownloads(const Clock& clock) {
    const qint64 future = clock.startOf(asOf.addDays(1));
    for (LogFile& file : files) {
        counts.files += file.status != LogFile::Skipped ? 1 : 0;
        counts.failed += file.status == LogFile::Failed ? 1 : 0;
        ++counts.copies[file.copy];
        if (file.status != LogFile::Ok)
            continue;
        file.isFromFuture = file.downloaded && *file.downloaded >= future;
        if (file.isFromFuture)
            file.contents += QStringLiteral(", from the future");
        counts.fromFuture += file.isFromFuture ? 1 : 0;
        const Download download{
            file.isFromFuture ? std::nullopt : file.downloaded, {}, file.isFromFuture, &file};
        newestDownload = std::max(newestDownload, download.time);
        if (file.kind == LogFile::Vehicle) {
            ++counts.vehicles;
            VehicleSummary& vehicle = vehicleOf(file.plate);
            if (download.time > vehicle.lastDownload.time)
                vehicle.plate = file.plate;
            if (!vehicle.lastDownload.file || download.rank() > vehicle.lastDownload.rank())
                vehicle.lastDownload = download;
        } else if (isDriverCard(file.cardType)) {
            ++counts.driverCards;
            driverOf(file.holder).cards.push_back({file.cardNumber, file.cardGeneration, download});
        }
    }
}

void Logbook::finish(const Filter& filter, const QDate& day, const Clock& clock) {
    asOf = day;
    hasSeveralKeys = std::any_of(files.begin(), files.end(), [this](const LogFile& file) {
        return file.key != files.front().key;
    });
    takeDownloads(clock);
    for (LogFile& file : files) {
        if (file.status == LogFile::Ok && file.kind == LogFile::Vehicle)
            file.plate = vehicleOf(file.plate).plate;
    }
    judgeDownloads(*this, clock);
    vehicles.sort([](const auto& a, const auto& b) { return a.plate < b.plate; });
    drivers.sort([](const auto& a, const auto& b) { return a.name < b.name; });
    number(*this);
    for (const Stretch& insertion : stretches)
        insertion.vehicle->last = std::max(insertion.vehicle->last,
                                           std::make_pair(insertion.from, downloadOf(insertion)));
    merge(stretches);
    insertionsFound = static_cast<qint64>(stretches.size());
    findEnds(stretches);
    findGaps(stretches);
    for (const Stretch& stretch : stretches) {
        VehicleSummary& vehicle = *stretch.vehicle;
        vehicle.knownFrom = vehicle.knownFrom.value_or(stretch.from);
        vehicle.knownTo =
            std::max({vehicle.knownTo, vehicle.last.second, std::optional(stretch.end)});
    }
    if (filter.isActive())
        filterRecords(*this, filter);
    sumUp(*this);
    if (filter.isActive())
        filterOthers(*this, filter);
    for (const DriverSummary& driver : drivers)
        hasSharedNames |= driver.holders > 1;
    number(*this);
}

} // namespace readkey
