// A key through readkey: its files to a logbook, and that through every view. The input chooses the
// files' names and contents out of a few texts and times, so that insertions overlap and drivers
// come again, and how readkey is asked. The keys lie in $TMPDIR.
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

#include <fcntl.h>
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
    requireSafe(lines);
    QByteArrayList all = lines.split('\n');
    require(all.takeLast().isEmpty(), "the last line ends");
    for (const QByteArray& line : all)
        require(QJsonDocument::fromJson(line).isObject(), "a line is a JSON object");
}

// Within quotes a comma or the end of a line is part of a cell.
void requireCsv(const QByteArray& csv) {
    requireSafe(csv);
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

// The tables of the page and its data; the rest of it is the same for every key.
void requirePage(const QByteArray& page) {
    static const QRegularExpression ownTags(QStringLiteral(
        "</?(section|details|summary|h2|span|div|table|thead|tbody|tr|th|td|br)"
        "( (id|class|scope|tabindex|role|aria-label|data-count)=\"[^\"<>]*\"| open)*>"));
    const QByteArray begin = "<section class=\"taken\"";
    for (int from = page.indexOf(begin); from >= 0; from = page.indexOf(begin, from + 1)) {
        const QByteArray table = page.mid(from, page.indexOf("</section>", from) - from);
        requireSafe(table);
        require(!QString::fromUtf8(table).remove(ownTags).contains(QLatin1Char('<')),
                "tables have no markup but their own");
    }
    for (const QByteArray id : {"insertion-rows", "gap-rows", "vehicle-rows", "clock-rows"}) {
        const QByteArray start = "id=\"" + id + "\">";
        const int from = page.indexOf(start) + start.size();
        const int to = page.indexOf('<', from);
        require(from >= start.size() && page.indexOf("</script>", to) == to, "data have no '<'");
        requireCsv(page.mid(from, to - from));
    }
}

// What names and records have.
class Values {
public:
    explicit Values(FuzzedDataProvider& input)
        : m_input(input) {
        for (QByteArray& text : m_texts)
            text = anyText(40);
        for (std::uint32_t& time : m_times)
            time = m_input.ConsumeIntegral<std::uint32_t>();
    }

    int below(int limit) { return m_input.ConsumeIntegralInRange(0, limit - 1); }
    unsigned char byte() { return m_input.ConsumeIntegral<unsigned char>(); }

    QByteArray anyText(std::size_t size) {
        return QByteArray::fromStdString(m_input.ConsumeRandomLengthString(size));
    }
    QByteArray text() { return m_input.PickValueInArray(m_texts); }

    std::uint32_t time() {
        static constexpr std::uint32_t limits[] = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
        return m_input.ConsumeBool()
                   ? m_input.PickValueInArray(limits)
                   : m_input.PickValueInArray(m_times) + 43200 * std::uint32_t(below(3));
    }
    std::uint32_t odometer() {
        return m_input.ConsumeBool() ? 0xFFFFFF : std::uint32_t(below(1000));
    }
    // Any that an option can have.
    QDate date() {
        static const QDate limits[] = {QDate(1, 1, 1), QDate(9999, 12, 31)};
        return m_input.ConsumeBool() ? m_input.PickValueInArray(limits)
                                     : QDateTime::fromSecsSinceEpoch(time(), Qt::UTC).date();
    }
    // Twelve digits of a name. The last hour of a year, or one at which clocks change.
    QByteArray stamp() {
        return m_input.PickValueInArray({"197001010000", "999912312459", "699912319999",
                                         "202403310130", "202410270130", "000000000000"});
    }

private:
    FuzzedDataProvider& m_input;
    QByteArray m_texts[4];
    std::uint32_t m_times[3];
};

QByteArray nameOf(Values& values) {
    const QByteArray letter(1, "MCSV"[values.below(4)]);
    const QByteArray stamp = values.stamp();
    const QByteArray date = '_' + stamp.left(8) + '_' + stamp.mid(8);
    switch (const int shape = values.below(10)) {
    case 0:
        return values.anyText(255);
    case 1:
        return letter + date + '_' + values.text() + ".DDD";
    case 2:
        return letter + '_' + values.text() + date + ".TGD";
    case 3:
        return values.text() + "_FLEET_DEPOT_" + stamp + ".A1B";
    default:
        return values.text() + stamp.mid(2) +
               QByteArrayList{".V1B", ".v1b", ".V1C", ".C1B", ".c1c", ".a1c"}[shape - 4];
    }
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
    const QByteArray name = nameOf(values).replace('/', '_').replace('\0', '_');
    const QByteArray path = directory + '/' + name;
    QByteArray contents;
    switch (values.below(8)) {
    case 0:
        ::mkdir(path.constData(), 0700);
        return;
    case 1:
        (void)!::symlink(".", path.constData());
        return;
    case 2:
        ::mkfifo(path.constData(), 0600);
        return;
    case 3:
        contents = values.anyText(1000);
        break;
    case 4:
    case 5:
        contents = cardFile(values);
        break;
    default:
        contents = vehicleFile(values);
    }
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (file < 0)
        return;
    const auto written = ::write(file, contents.constData(), std::size_t(contents.size()));
    require(written == contents.size(), "the key can be written");
    ::close(file);
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
    const auto shown = [&](const readkey::View& view) {
        QBuffer output;
        output.open(QIODevice::WriteOnly);
        view.write(book, options, output);
        return output.data();
    };
    for (const readkey::View& view : readkey::views) {
        const QByteArray name = view.option;
        if (name == "html")
            requirePage(shown(view));
        else if (name == "json")
            requireJsonLines(shown(view));
        else
            requireSafe(shown(view));
        for (const QString& kind : name == "csv" ? readkey::csvKinds() : QStringList()) {
            options.viewArgument = kind;
            requireCsv(shown(view));
        }
    }
}

} // namespace

// In the place of readkey's own.
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

    FuzzedDataProvider input(data, size);
    static const QTemporaryDir root;
    const QString directory = root.filePath(QStringLiteral("download"));
    QDir().mkpath(directory);
    qputenv("TZ", input.PickValueInArray({"UTC", "Europe/Berlin", "Pacific/Kiritimati"}));
    ::tzset();
    Values values(input);
    const Options options = optionsOf(values, values.below(2) == 0 ? root.path() : directory);
    const bool wantsEvents = values.below(4) == 0;
    questionsLeft = values.below(2) == 0 ? 0 : values.below(20);
    while (input.remaining_bytes() > 0)
        addEntry(values, QFile::encodeName(directory));

    QBuffer events;
    events.open(QIODevice::WriteOnly);
    LogbookBuilder builder;
    KeyReader(options, options.paths[0], builder, nullptr, wantsEvents ? &events : nullptr)
        .read([](int percent) { require(percent >= 0 && percent <= 100, "percent"); });
    requireJsonLines(events.data());
    showAll(builder.finish(options.filter, options.asOf, Clock{options.utc}), options);
    fuzzing::clear(root.path());
    return 0;
}
