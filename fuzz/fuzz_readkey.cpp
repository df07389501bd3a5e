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

using fuzzing::require;

namespace {

int questionsLeft = 0; // until the user interrupts; 0: never

// No character that a terminal or an editor could act on.
void requireSafe(QByteArray bytes) {
    constexpr uint unsafe = 1U << QChar::Other_Control | 1U << QChar::Other_Format |
                            1U << QChar::Separator_Line | 1U << QChar::Separator_Paragraph;
    const QString text = QString::fromUtf8(bytes.replace("\r\n", "\n"));
    require(text.toUtf8() == bytes, "text is valid UTF-8");
    for (const uint character : text.toUcs4())
        require(character == '\n' || (unsafe >> QChar::category(character) & 1) == 0,
                "text has no unsafe character");
}

void requireJsonLines(const QByteArray& lines) {
    QByteArrayList all = lines.split('\n');
    require(all.takeLast().isEmpty(), "the last line ends");
    for (const QByteArray& line : all)
        require(QJsonDocument::fromJson(line).isObject(), "a line is a JSON object");
}

// Each row has as many commas as the first, outside quotes.
void requireCsv(const QByteArray& rows) {
    static const QRegularExpression quoted(QStringLiteral("\"[^\"]*\""));
    QStringList all = QString::fromUtf8(rows).remove(quoted).split(QStringLiteral("\r\n"));
    require(all.takeLast().isEmpty(), "the last row ends");
    for (const QString& row : all)
        require(row.count(QLatin1Char(',')) == all[0].count(QLatin1Char(',')),
                "a row has as many cells as the first");
}

// What names, records and options have.
struct Values : FuzzedDataProvider {
    Values(const std::uint8_t* data, std::size_t size)
        : FuzzedDataProvider(data, size) {
        for (std::string& each : texts)
            each = ConsumeRandomLengthString(40);
        texts[0].insert(0, "<i>");
        for (std::uint32_t& each : times)
            each = ConsumeIntegral<std::uint32_t>();
    }

    unsigned char below(int limit) {
        return static_cast<unsigned char>(ConsumeIntegralInRange(0, limit - 1));
    }
    QByteArray text() { return QByteArray::fromStdString(PickValueInArray(texts)); }
    std::uint32_t time() {
        return ConsumeBool() ? PickValueInArray({0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
                             : PickValueInArray(times) + 43200U * below(3);
    }
    std::uint32_t odometer() { return ConsumeBool() ? 0xFFFFFF : below(200); }
    QDate date() {
        return ConsumeBool() ? PickValueInArray({QDate(1, 1, 1), QDate(9999, 12, 31)})
                             : QDateTime::fromSecsSinceEpoch(time(), Qt::UTC).date();
    }

    std::string texts[4];
    std::uint32_t times[3];
};

// A download's name, with the last hour of a year, for example, or one at which clocks change.
QByteArray nameOf(Values& values) {
    const char* const begin =
        values.PickValueInArray({"M_19700101_0000_", "C_99991231_2459_", "S_69991231_9999_",
                                 "V_20240331_0130_", "C_20241027_0130_", "M_00000000_0000_", ""});
    return fuzzing::asFileName(begin + values.text() + ".DDD");
}

QByteArray vehicleFile(Values& values) {
    samples::VehicleUnit unit;
    unit.generation = static_cast<samples::Generation>(values.below(3));
    unit.plate = values.text();
    unit.plateCodePage = values.below(256);
    unit.furtherBlocks = false;
    for (int records = values.below(10); records > 0; --records) {
        const samples::CardRecord record{values.text(), values.text(),     {},
                                         values.time(), values.odometer(), values.below(3),
                                         values.time(), values.odometer(), values.below(256)};
        unit.days.push_back({0, 0, {record}});
    }
    return samples::vehicleUnitFile(unit);
}

QByteArray cardFile(Values& values) {
    return samples::cardFile({values.below(6), 1 + values.below(2),
                              values.text().leftJustified(16, '0', true), values.text(),
                              values.text(), values.below(256)});
}

readkey::Options optionsOf(Values& values) {
    readkey::Options options;
    options.utc = values.ConsumeBool();
    options.asOf = values.date();
    if (values.ConsumeBool()) {
        options.filter.plate = QString::fromUtf8(values.text());
        options.filter.driver = QString::fromUtf8(values.text());
    }
    if (values.ConsumeBool()) {
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
            require(!output.data().contains("<i>") || name != "html",
                    "the page's texts are escaped");
            if (name == "json")
                requireJsonLines(output.data());
            if (name == "csv")
                requireCsv(output.data());
        }
    }
}

} // namespace

// Instead of readkey's own.
namespace readkey::console {

int interruption() {
    questionsLeft -= questionsLeft > 1 ? 1 : 0;
    return questionsLeft == 1 ? SIGINT : 0;
}

void line(const QString& text) {
    requireSafe(printable(text).toUtf8());
}

} // namespace readkey::console

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace readkey;

    Values values(data, size);
    qputenv("TZ", values.PickValueInArray({"UTC", "Europe/Berlin", "Pacific/Kiritimati"}));
    ::tzset();
    static const QTemporaryDir root;
    const QString directory = root.filePath(QStringLiteral("download"));
    QDir().mkpath(directory);
    Options options = optionsOf(values);
    options.paths = QStringList(values.ConsumeBool() ? root.path() : directory);
    questionsLeft = values.ConsumeBool() ? 0 : values.below(20);
    QBuffer events;
    events.open(QIODevice::WriteOnly);
    Logbook book;
    const bool wantsEvents = values.below(4) == 0;
    while (values.remaining_bytes() > 0) {
        const QByteArray path = QFile::encodeName(directory) + '/' + nameOf(values);
        const int kind = values.below(8);
        fuzzing::writeFile(path, kind == 0  ? values.text()
                                 : kind < 3 ? cardFile(values)
                                            : vehicleFile(values));
    }
    readPath(options, options.paths[0], book, nullptr, wantsEvents ? &events : nullptr,
             [](int percent) { require(percent >= 0 && percent <= 100, "percent"); });
    requireSafe(events.data());
    requireJsonLines(events.data());
    book.finish(options.filter, options.asOf, Clock{options.utc});
    showAll(book, options);
    fuzzing::clear(root.path());
    return 0;
}
