// A key through readkey: its files to a logbook, and that through every view. The input chooses the
// files' names and contents out of a few texts and times, so that insertions overlap and drivers
// come again, and how readkey is asked. The keys are in $TMPDIR.
#include "fuzz/fuzzing.h"
#include "samples/samples.h"
#include "tools/readkey/console.h"
#include "tools/readkey/keyreader.h"
#include "tools/readkey/text.h"
#include "tools/readkey/views.h"

#include <QtCore/QBuffer>
#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>

#include <csignal>
#include <ctime>

#include <fuzzer/FuzzedDataProvider.h>
#include <sys/stat.h>
#include <unistd.h>

using fuzzing::require;

namespace {

int questionsLeft = 0; // until the user interrupts; 0: never

// No character that a terminal or an editor could act on.
void requireSafe(QByteArray bytes) {
    bytes.replace("\r\n", "\n");
    const QString text = QString::fromUtf8(bytes);
    require(text.toUtf8() == bytes, "text is valid UTF-8");
    for (const uint character : text.toUcs4()) {
        const QChar::Category category = QChar::category(character);
        require(character == '\n' ||
                    (category != QChar::Other_Control && category != QChar::Other_Format &&
                     category != QChar::Separator_Line && category != QChar::Separator_Paragraph),
                "text has no unsafe character");
    }
}

void requireJsonLines(const QByteArray& lines) {
    QByteArrayList all = lines.split('\n');
    require(all.takeLast().isEmpty(), "the last line ends");
    for (const QByteArray& line : all)
        require(QJsonDocument::fromJson(line).isObject(), "a line is a JSON object");
}

// Within quotes a comma or the end of a line is part of a cell.
void requireCsv(const QByteArray& csv) {
    bool isQuoted = false;
    int cells = 1;
    int cellsOfFirst = 0;
    for (const char byte : csv) {
        isQuoted ^= byte == '"';
        cells += !isQuoted && byte == ',' ? 1 : 0;
        if (isQuoted || byte != '\n')
            continue;
        cellsOfFirst = cellsOfFirst == 0 ? cells : cellsOfFirst;
        require(cells == cellsOfFirst, "each row has as many cells as the first");
        cells = 1;
    }
    require(!isQuoted && cells == 1, "the last row ends");
}

// The page's tables and data; the rest of it is the same for every key.
void requirePage(const QByteArray& page) {
    static const QRegularExpression ownTags(QStringLiteral(
        "</?(section|details|summary|h2|span|div|table|thead|tbody|tr|th|td|br)"
        "( (id|class|scope|tabindex|role|aria-label|data-count)=\"[^\"<>]*\"| open)*>"));
    const QString text = QString::fromUtf8(page);
    for (QString table : text.split(QStringLiteral("<section class=\"taken\"")).mid(1)) {
        table.truncate(table.indexOf(QLatin1String("</section>")));
        require(!table.remove(ownTags).contains(QLatin1Char('<')),
                "tables have no markup but their own");
    }
    const QStringList data = text.split(QStringLiteral("<script type=\"text/csv\"")).mid(1);
    require(data.size() == 4, "the data are in four tables");
    for (const QString& csv : data) {
        const int end = csv.indexOf(QLatin1Char('<'));
        require(csv.midRef(end).startsWith(QLatin1String("</script>")), "data have no '<'");
        requireCsv(csv.left(end).section(QLatin1Char('>'), 1).toUtf8());
    }
}

// What names and records have.
class Values : public FuzzedDataProvider {
public:
    Values(const std::uint8_t* data, std::size_t size)
        : FuzzedDataProvider(data, size) {
        qputenv("TZ", PickValueInArray({"UTC", "Europe/Berlin", "Pacific/Kiritimati"}));
        ::tzset();
        for (QByteArray& text : m_texts)
            text = anyText(40);
        for (std::uint32_t& time : m_times)
            time = ConsumeIntegral<std::uint32_t>();
    }

    int below(int limit) { return ConsumeIntegralInRange(0, limit - 1); }
    unsigned char byte() { return ConsumeIntegral<unsigned char>(); }
    QByteArray anyText(std::size_t size) {
        return QByteArray::fromStdString(ConsumeRandomLengthString(size));
    }
    QByteArray text() { return PickValueInArray(m_texts); }
    std::uint32_t time() {
        return ConsumeBool() ? PickValueInArray({0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
                             : PickValueInArray(m_times) + 43200 * std::uint32_t(below(3));
    }
    std::uint32_t odometer() { return ConsumeBool() ? 0xFFFFFF : std::uint32_t(below(1000)); }
    // Any that an option can have.
    QDate date() {
        return ConsumeBool() ? PickValueInArray({QDate(1, 1, 1), QDate(9999, 12, 31)})
                             : QDateTime::fromSecsSinceEpoch(time(), Qt::UTC).date();
    }

private:
    QByteArray m_texts[4];
    std::uint32_t m_times[3];
};

QByteArray nameOf(Values& values) {
    const QByteArray letter(1, "MCSV"[values.below(4)]);
    // The last hour of a year, or one at which clocks change.
    const QByteArray stamp =
        values.PickValueInArray({"197001010000", "999912312459", "699912319999", "202403310130",
                                 "202410270130", "000000000000"});
    const QByteArray date = '_' + stamp.left(8) + '_' + stamp.mid(8);
    const int shape = values.below(10);
    if (shape == 0)
        return values.anyText(255);
    const QByteArray text = values.text();
    const QByteArray withShortYear = text + stamp.mid(2);
    return QByteArrayList{letter + date + '_' + text + ".DDD",
                          letter + '_' + text + date + ".TGD",
                          text + "_FLEET_DEPOT_" + stamp + ".A1B",
                          withShortYear + ".V1B",
                          withShortYear + ".v1b",
                          withShortYear + ".V1C",
                          withShortYear + ".C1B",
                          withShortYear + ".c1c",
                          withShortYear + ".a1c"}[shape - 1];
}

QByteArray vehicleFile(Values& values) {
    samples::VehicleUnit unit;
    unit.generation = static_cast<samples::Generation>(values.below(3));
    unit.plate = values.text();
    unit.plateCodePage = values.byte();
    unit.furtherBlocks = false;
    unit.trailer = "???";
    unit.days.resize(std::size_t(values.below(3)));
    for (samples::Day& day : unit.days) {
        day.cardRecords.resize(std::size_t(values.below(5)));
        for (samples::CardRecord& record : day.cardRecords)
            record = {values.text(), values.text(),     {},
                      values.time(), values.odometer(), static_cast<unsigned char>(values.below(3)),
                      values.time(), values.odometer(), values.byte()};
    }
    return samples::vehicleUnitFile(unit);
}

QByteArray cardFile(Values& values) {
    const unsigned char kind = values.below(2) == 0 ? 0 : 2; // of which generation
    const unsigned char codePage = values.byte();
    return samples::cardBlock(0x0501, kind, QByteArray(1, static_cast<char>(values.below(6)))) +
           samples::cardBlock(0x0520, kind,
                              '\x0D' + values.text().leftJustified(16, '0', true) +
                                  QByteArray(48, '\0') +
                                  samples::textField(values.text(), 36, codePage) +
                                  samples::textField(values.text(), 36, codePage));
}

// Puts a file or something else into the directory, if the name is one that it can have.
void addEntry(Values& values, const QByteArray& directory) {
    const QByteArray path = directory + '/' + fuzzing::asFileName(nameOf(values));
    const int kind = values.below(8);
    if (kind == 0)
        ::mkdir(path.constData(), 0700);
    else if (kind == 1)
        (void)!::symlink(".", path.constData());
    else if (kind == 2)
        ::mkfifo(path.constData(), 0600);
    else
        fuzzing::writeFile(path, kind == 3  ? values.anyText(1000)
                                 : kind < 6 ? cardFile(values)
                                            : vehicleFile(values));
}

readkey::Options optionsOf(Values& values, const QString& path) {
    readkey::Options options;
    options.paths = QStringList(path);
    options.utc = values.below(2) == 0;
    options.asOf = values.date();
    const int filter = values.below(4);
    if (filter % 2 == 1) {
        options.filter.plate = QString::fromUtf8(values.text());
        options.filter.driver = QString::fromUtf8(values.text());
    }
    if (filter > 1) {
        options.filter.from = readkey::Clock{options.utc}.startOf(values.date());
        options.filter.to = readkey::Clock{options.utc}.startOf(values.date());
    }
    return options;
}

void showAll(const readkey::Logbook& book, readkey::Options options) {
    for (const readkey::View& view : readkey::views) {
        const QByteArray name = view.option;
        for (const QString& kind : name == "csv" ? readkey::csvKinds() : QStringList(QString())) {
            options.viewArgument = kind;
            QBuffer output;
            output.open(QIODevice::WriteOnly);
            view.write(book, options, output);
            requireSafe(output.data());
            if (name == "html")
                requirePage(output.data());
            else if (name == "json")
                requireJsonLines(output.data());
            else if (name == "csv")
                requireCsv(output.data());
        }
    }
}

} // namespace

// Instead of readkey's own.
namespace readkey::console {

int interruption() {
    if (questionsLeft > 1)
        --questionsLeft;
    return questionsLeft == 1 ? SIGINT : 0;
}

void line(const QString& text) {
    requireSafe(printable(text).toUtf8());
}

void error(const QString& text) {
    line(text);
}

} // namespace readkey::console

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace readkey;

    Values values(data, size);
    static const QTemporaryDir root;
    const QString directory = root.filePath(QStringLiteral("download"));
    QDir().mkpath(directory);
    const Options options = optionsOf(values, values.below(2) == 0 ? root.path() : directory);
    const bool wantsEvents = values.below(4) == 0;
    questionsLeft = values.below(2) == 0 ? 0 : values.below(20);
    while (values.remaining_bytes() > 0)
        addEntry(values, QFile::encodeName(directory));

    QBuffer events;
    events.open(QIODevice::WriteOnly);
    LogbookBuilder builder;
    readPath(options, options.paths[0], builder, nullptr, wantsEvents ? &events : nullptr,
             [](int percent) { require(percent >= 0 && percent <= 100, "percent"); });
    requireSafe(events.data());
    requireJsonLines(events.data());
    showAll(builder.finish(options.filter, options.asOf, Clock{options.utc}), options);
    fuzzing::clear(root.path());
    return 0;
}
