// What the shared library exports: the classes and functions that the installed headers mark
// with QZLOGGER_EXPORT, the standard library's instantiations over them, and nothing else. A
// test seam, a class of the catalogue mapping's core or a helper of one source file that
// appears among the dynamic symbols fails here.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QStringList>

#include <cstdio>

namespace {

struct DynamicSymbol {
    QString mangled;
    QString demangled;
};

// The declarations of a header: class and struct definitions (not forward declarations) and the
// names of exported free functions.
struct HeaderNames {
    QSet<QString> exportedClasses;
    QSet<QString> exportedFunctions;
    QSet<QString> classes;
};

QString readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    return QString::fromUtf8(file.readAll());
}

void collectNames(const QString& text, HeaderNames& names)
{
    static const QRegularExpression definition(
        QStringLiteral(
            R"(^\s*(?:template\s*<[^>]*>\s*)?(?:class|struct)\s+(QZLOGGER_EXPORT\s+)?(\w+)\s*(?:final\s*)?[:{])"),
        QRegularExpression::MultilineOption);
    auto it = definition.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        names.classes.insert(match.captured(2));
        if (!match.captured(1).isEmpty())
            names.exportedClasses.insert(match.captured(2));
    }
    static const QRegularExpression function(
        QStringLiteral(R"(QZLOGGER_EXPORT\s+[\w:<>\s\*&]+?\b(\w+)\s*\()"));
    auto fit = function.globalMatch(text);
    while (fit.hasNext())
        names.exportedFunctions.insert(fit.next().captured(1));
}

// The first name of the symbol's qualified name, read from its mangled form: the class or
// namespace a member belongs to, or the name of a free function; "std" for the standard library.
QString ownerOf(const QString& mangled)
{
    QString s = mangled;
    if (!s.startsWith(QLatin1String("_Z")))
        return s;
    s = s.mid(2);
    // Special names: vtable, typeinfo and its name, VTT, guard variables, thunks.
    static const QRegularExpression special(QStringLiteral("^(TV|TI|TS|TT|GV|Thn?\\d+_|Tvn?\\d+_n?\\d+_)"));
    for (;;) {
        const QRegularExpressionMatch match = special.match(s);
        if (!match.hasMatch())
            break;
        s = s.mid(match.capturedLength());
    }
    while (s.startsWith(QLatin1Char('Z'))) // an entity local to a function: the function's owner
        s = s.mid(1);
    if (s.startsWith(QLatin1Char('N'))) {
        s = s.mid(1);
        while (!s.isEmpty() && QStringLiteral("rVKRO").contains(s.at(0)))
            s = s.mid(1);
    }
    if (s.startsWith(QLatin1String("St")) || s.startsWith(QLatin1String("Sa")) ||
        s.startsWith(QLatin1String("Sb")) || s.startsWith(QLatin1String("Ss")) ||
        s.startsWith(QLatin1String("Si")) || s.startsWith(QLatin1String("So")) ||
        s.startsWith(QLatin1String("Sd")))
        return QStringLiteral("std");
    int digits = 0;
    while (digits < s.size() && s.at(digits).isDigit())
        ++digits;
    if (digits == 0)
        return s;
    const int length = s.left(digits).toInt();
    const QString name = s.mid(digits, length);
    // The library's own namespace owns nothing itself: the class inside it does.
    if (name == QLatin1String("qzlogger") && s.size() > digits + length && s.at(digits + length).isDigit())
        return ownerOf(QStringLiteral("_ZN") + s.mid(digits + length));
    return name;
}

bool mentionsWord(const QString& text, const QString& word)
{
    const QRegularExpression whole(QStringLiteral("\\b%1\\b").arg(QRegularExpression::escape(word)));
    return whole.match(text).hasMatch();
}

// Why the symbol may not be exported, or an empty text where it may.
QString refusal(const DynamicSymbol& symbol, const HeaderNames& installed,
                const QSet<QString>& privateClasses)
{
    for (const char* marker : {"ForTesting", "qzdb::", "(anonymous namespace)", "LoggerHooks::"}) {
        if (symbol.demangled.contains(QLatin1String(marker)))
            return QStringLiteral("internal name \"%1\"").arg(QLatin1String(marker));
    }
    // AddressSanitizer adds an indicator beside each exported variable; it goes with the variable.
    QString mangled = symbol.mangled;
    if (mangled.startsWith(QLatin1String("__odr_asan.")))
        mangled = mangled.mid(int(qstrlen("__odr_asan.")));
    const QString owner = ownerOf(mangled);
    if (privateClasses.contains(owner))
        return QStringLiteral("class %1 is not installed").arg(owner);
    if (installed.exportedClasses.contains(owner) || installed.exportedFunctions.contains(owner))
        return QString();
    // Instantiations of the standard library's and Qt's templates, and Qt's inline functions
    // where an unoptimised build emits them, belong to those libraries; they may not carry a
    // class of ours that is not installed.
    const bool qtName = owner.startsWith(QLatin1Char('Q')) || owner.startsWith(QLatin1Char('q'));
    if (owner == QLatin1String("std") || owner == QLatin1String("__gnu_cxx") || qtName) {
        for (const QString& name : privateClasses) {
            if (mentionsWord(symbol.demangled, name))
                return QStringLiteral("standard library instantiation over %1, which is not installed")
                    .arg(name);
        }
        return QString();
    }
    return QStringLiteral("%1 is not exported by any installed header").arg(owner);
}

QStringList lines(const QString& text)
{
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

class ExportedSymbolsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const QString& path : lines(readText(QStringLiteral(QZLOGGER_INSTALLED_HEADERS_FILE)))) {
            mInstalledPaths.insert(QFileInfo(path).canonicalFilePath());
            collectNames(readText(path), mInstalled);
        }
        HeaderNames all;
        for (const char* dir : {"source", "persistence", "include"}) {
            const QDir directory(QStringLiteral(QZLOGGER_SOURCE_DIR) + QLatin1Char('/') + QLatin1String(dir));
            for (const QFileInfo& header : directory.entryInfoList({QStringLiteral("*.h")}, QDir::Files)) {
                if (mInstalledPaths.contains(header.canonicalFilePath()))
                    continue;
                collectNames(readText(header.filePath()), all);
            }
        }
        mPrivateClasses = all.classes - mInstalled.classes;
        mPrivateClasses.insert(QStringLiteral("DBusSDCard1Interface"));
    }

    std::vector<DynamicSymbol> dynamicSymbols()
    {
        std::vector<DynamicSymbol> symbols;
        // Unsorted, both listings keep the order of the symbol table and pair up line by line.
        const QStringList mangled =
            nm({QStringLiteral("-D"), QStringLiteral("--defined-only"), QStringLiteral("--no-sort")});
        const QStringList demangled = nm({QStringLiteral("-D"), QStringLiteral("--defined-only"),
                                          QStringLiteral("--no-sort"), QStringLiteral("-C")});
        EXPECT_EQ(mangled.size(), demangled.size());
        for (int i = 0; i < mangled.size() && i < demangled.size(); ++i)
            symbols.push_back({mangled[i], demangled[i]});
        return symbols;
    }

    HeaderNames mInstalled;
    QSet<QString> mInstalledPaths;
    QSet<QString> mPrivateClasses;

private:
    // The names of nm's listing, one per symbol. Each line is address, type
    // letter and name; a demangled name has spaces of its own.
    static QStringList nm(QStringList arguments)
    {
        arguments << QStringLiteral(QZLOGGER_LIBRARY_FILE);
        QProcess process;
        process.start(QStringLiteral("nm"), arguments);
        EXPECT_TRUE(process.waitForFinished(60000)) << "nm did not finish";
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        QStringList names;
        for (const QString& line : lines(QString::fromUtf8(process.readAllStandardOutput())))
            names << line.section(QLatin1Char(' '), 2);
        return names;
    }
};

TEST_F(ExportedSymbolsTest, TheOverviewsPublicClassesAreExported)
{
    for (const char* name :
         {"DatabaseInterface", "LoggerList", "LoggerBase", "LoggerOperatorInterface", "LoggerMemoryInterface",
          "LoggerApiInterface", "LoggerApi", "LoggerApiBase", "LoggerEventAlarm"}) {
        EXPECT_TRUE(mInstalled.exportedClasses.contains(QLatin1String(name))) << name;
    }
    bool vtableOfApiInterface = false;
    for (const DynamicSymbol& symbol : dynamicSymbols()) {
        if (symbol.demangled == QLatin1String("vtable for LoggerApiInterface"))
            vtableOfApiInterface = true;
    }
    EXPECT_TRUE(vtableOfApiInterface);
}

TEST_F(ExportedSymbolsTest, NoSymbolOutsideTheInstalledClassesIsExported)
{
    const std::vector<DynamicSymbol> symbols = dynamicSymbols();
    ASSERT_GT(symbols.size(), 100u) << "nm listed too few symbols of " << QZLOGGER_LIBRARY_FILE;
    int refused = 0;
    for (const DynamicSymbol& symbol : symbols) {
        const QString why = refusal(symbol, mInstalled, mPrivateClasses);
        if (!why.isEmpty()) {
            ++refused;
            ADD_FAILURE() << symbol.demangled.toStdString() << ": " << why.toStdString();
        }
    }
    std::printf("%zu exported symbols, %d refused\n", symbols.size(), refused);
}

// The rule itself must refuse what it is meant to refuse.
TEST_F(ExportedSymbolsTest, TheRuleRefusesTestSeamsInternalsAndFileScopeHelpers)
{
    ASSERT_TRUE(mPrivateClasses.contains(QStringLiteral("LoggerAccess")));
    ASSERT_FALSE(mPrivateClasses.contains(QStringLiteral("LoggerBase")));

    const std::vector<DynamicSymbol> refused = {
        {QStringLiteral("_Z23setRetrySleepForTestingSt8functionIFvmEE"),
         QStringLiteral("setRetrySleepForTesting(std::function<void (unsigned long)>)")},
        {QStringLiteral("_ZN4qzdb9Statement4stepEv"), QStringLiteral("qzdb::Statement::step()")},
        {QStringLiteral("_ZN12LoggerAccess10writeDatasEPKcii"),
         QStringLiteral("LoggerAccess::writeDatas(char const*, int, int)")},
        {QStringLiteral("_ZTV12LoggerAccess"), QStringLiteral("vtable for LoggerAccess")},
        {QStringLiteral("_ZN12_GLOBAL__N_16numberE10LoggerType"),
         QStringLiteral("(anonymous namespace)::number(LoggerType)")},
        {QStringLiteral("_Z10createFileRK7QString"), QStringLiteral("createFile(QString const&)")},
        {QStringLiteral("_ZNSt6vectorISt10shared_ptrI12LoggerAccessESaIS2_EE7reserveEm"),
         QStringLiteral("std::vector<std::shared_ptr<LoggerAccess>, "
                        "std::allocator<std::shared_ptr<LoggerAccess> > >::reserve(unsigned long)")},
        {QStringLiteral("_ZN5QListI12LoggerAccessE13detach_helperEi"),
         QStringLiteral("QList<LoggerAccess>::detach_helper(int)")},
        {QStringLiteral("__odr_asan._ZN12LoggerAccess9mInstanceE"),
         QStringLiteral("__odr_asan._ZN12LoggerAccess9mInstanceE")},
        {QStringLiteral("_ZZZN12LoggerAccess4openEvENKUlvE_clEvE15qstring_literal"),
         QStringLiteral("LoggerAccess::open()::{lambda()#1}::operator()() const::qstring_literal")},
        {QStringLiteral("_ZN8qzlogger12LoggerAccess4openEv"), QStringLiteral("qzlogger::LoggerAccess::open()")},
        {QStringLiteral("_ZN8qzlogger7unknownEv"), QStringLiteral("qzlogger::unknown()")},
    };
    for (const DynamicSymbol& symbol : refused)
        EXPECT_FALSE(refusal(symbol, mInstalled, mPrivateClasses).isEmpty())
            << symbol.demangled.toStdString();

    const std::vector<DynamicSymbol> accepted = {
        {QStringLiteral("_ZN10LoggerBase10writeDatasEPKcii"),
         QStringLiteral("LoggerBase::writeDatas(char const*, int, int)")},
        {QStringLiteral("_ZTV18LoggerApiInterface"), QStringLiteral("vtable for LoggerApiInterface")},
        {QStringLiteral("_ZNK10LoggerBase13getLoggerNameEv"),
         QStringLiteral("LoggerBase::getLoggerName() const")},
        {QStringLiteral("_Z5qHashRK9LoggerKeyj"), QStringLiteral("qHash(LoggerKey const&, unsigned int)")},
        {QStringLiteral("_ZN7QString5clearEv"), QStringLiteral("QString::clear()")},
        {QStringLiteral("__odr_asan._ZN11TrackObject13sErrorCounterE"),
         QStringLiteral("__odr_asan._ZN11TrackObject13sErrorCounterE")},
        {QStringLiteral("_ZThn8_N9LoggerApiD0Ev"),
         QStringLiteral("non-virtual thunk to LoggerApi::~LoggerApi()")},
        {QStringLiteral("_ZZZN13LoggerApiBase4openEvENKUlvE_clEvE15qstring_literal"),
         QStringLiteral("LoggerApiBase::open()::{lambda()#1}::operator()() const::qstring_literal")},
        {QStringLiteral("_ZN8qzlogger19HistogramCalculator5clearEv"),
         QStringLiteral("qzlogger::HistogramCalculator::clear()")},
        {QStringLiteral("_ZTVN8qzlogger19HistogramCalculatorE"),
         QStringLiteral("vtable for qzlogger::HistogramCalculator")},
        {QStringLiteral("_ZNSt6vectorI15DefnMeasureTypeSaIS0_EE7reserveEm"),
         QStringLiteral(
             "std::vector<DefnMeasureType, std::allocator<DefnMeasureType> >::reserve(unsigned long)")},
    };
    for (const DynamicSymbol& symbol : accepted)
        EXPECT_TRUE(refusal(symbol, mInstalled, mPrivateClasses).isEmpty()) << symbol.demangled.toStdString();
}

} // namespace
