#include <initializer_list>
#include <string_view>

#include "devices/cOrvixNB1Device.h"
#include "host/characters.h"
#include "host/report_writer.h"
#include "host/text.h"

namespace orvix {

namespace {

constexpr char kSaveAsLabel[] = "cOrvixNB1Q27.iOrvixDevice_SaveAs(FileName,FileFormat)";

constexpr char kDateHeading[] = "Date";
constexpr char kTimeHeading[] = "Time";
constexpr char kTempHeading[] = "Temp";

constexpr ReportPageSetup kReportPage{
    .LeftCm = 1.5, .RightCm = 1.5, .TopCm = 1.5, .BottomCm = 1.5, .HeadingHeight = 20, .RowHeight = 14};
constexpr std::size_t kReportTimeColumn = 0;
constexpr std::size_t kReportTempColumn = 2;

/// Visits a time text and the temperature of each row, in the order of the table.
template <class Visit>
void ForEachSample(RecordSet& log, const char* timeColumn, Visit visit) {
    const RecordSet::Column time = log.ColumnOf(timeColumn);
    const RecordSet::Column temp = log.ColumnOf("temp");
    for (log.MoveFirst(); !log.EndOfFile(); log.MoveNext())
        visit(log.Field(time).ToText(), log.Field(temp));
}

/// A line of the listing.
std::string ListingLine(std::initializer_list<std::string_view> fields) {
    std::string line;
    for (const std::string_view field : fields)
        line.append(Printable(field)).append("\t");
    line.pop_back();
    return line.append(kLineBreak);
}

/// A device without a mission has zeros for limits; a digital log has none at all.
void AddLimits(ReportPlot& plot, RecordSet& log) {
    log.MoveFirst();
    if (log.EndOfFile()) return;
    const auto high = log.Field("HIAlarm");
    const auto low = log.Field("LOAlarm");
    if (high.IsNull() || low.IsNull() || (high.ToDouble() == 0 && low.ToDouble() == 0)) return;
    plot.HighLimit = high.ToDouble();
    plot.LowLimit = low.ToDouble();
}

}  // namespace

/// Makes a device count as one from a file as long as it is exported.
class cOrvixNB1Device::OriginGuard {
public:
    explicit OriginGuard(std::int32_t& origin) : m_Origin(origin), m_Remembered(origin) {
        m_Origin = kDeviceOriginFile;
    }
    OriginGuard(const OriginGuard&) = delete;
    OriginGuard& operator=(const OriginGuard&) = delete;
    ~OriginGuard() { m_Origin = m_Remembered; }

    bool WasFile() const { return m_Remembered == kDeviceOriginFile; }

private:
    std::int32_t& m_Origin;
    std::int32_t m_Remembered;
};

void cOrvixNB1Device::iOrvixDevice_SaveAs(const std::string& FileName, std::int32_t FileFormat) {
    try {
        Files& files = m_Services.Stores.Files();
        Attempt([&] { files.Delete(FileName); });
        const OriginGuard origin(m_DeviceOrigin);
        const std::string exportAddress = origin.WasFile() ? FileDeviceAddress(m_Address) : m_Address;
        CheckMissionData();
        switch (FileFormat) {
            case kFileFormatText:
                files.WriteWhole(FileName, TextToBytes(TextListing(exportAddress)));
                break;
            case kFileFormatReport:
                WriteReport(FileName, exportAddress);
                break;
            default:
                files.WriteWhole(FileName, iOrvixDevice_GetSuperState());
        }
    } catch (...) {
        PlexaERR.ReportIn(kSaveAsLabel);
    }
}

void cOrvixNB1Device::CheckMissionData() {
    for (const ORVIXCNB1_VARS varID : {ORVIXCNB1_VAR_STATUS, ORVIXCNB1_VAR_TEMP_LOG}) {
        const std::string key = NumberText(varID);
        const bool isValid = m_VarsEx.Exists(key) && m_VarsEx.Item(key)->Valid();
        PlexaERR.Check(isValid, errors::Validation, errors::NoMissionData);
    }
}

/// Both time columns carry the whole time of the sample.
std::string cOrvixNB1Device::TextListing(const std::string& exportAddress) {
    const std::shared_ptr<const iOrvixNB1Mission> mission = LiveMission();
    std::string text = ListingLine({"", "", ""});
    text += ListingLine({"Device: " + m_Name});
    text += ListingLine({"Serial Number: " + KnownSerialNumber()});
    text += ListingLine({"Address: " + exportAddress});
    text += ListingLine({"Mission: " + mission->Name(), "", ""});
    text += ListingLine({"Rate: " + NumberText(std::int32_t{mission->Rate()}), "", ""});
    text += ListingLine({"", "", ""});
    text += ListingLine({kDateHeading, kTimeHeading, kTempHeading});
    ForEachSample(MissionLog(), "timeVal", [&text](const std::string& timeVal, const Variant& temp) {
        text += ListingLine({timeVal, timeVal, temp.ToText()});
    });
    return text;
}

void cOrvixNB1Device::WriteReport(const std::string& FileName, const std::string& exportAddress) {
    const auto report = m_Services.Stores.CreateReportWriter();
    const std::string refusal = report->Open(FileName);
    PlexaERR.Check(refusal.empty(), errors::Validation, "%1", {refusal});
    report->PageSetup(kReportPage);
    for (const ReportFont use : {ReportFont::Header, ReportFont::Heading, ReportFont::Cell})
        report->Font(use, "Arial", 10);
    report->Font(ReportFont::Title, "Courier", 14);
    const std::string mission = static_cast<const iOrvixNB1Mission&>(*LiveMission()).Name();
    report->Title(mission);
    report->HeaderLine("Device: " + m_Name);
    report->HeaderLine("Serial Number: " + KnownSerialNumber());
    report->HeaderLine("Device: " + exportAddress);
    report->HeaderLine("Mission: " + mission);
    report->ColumnHeadings({kDateHeading, kTimeHeading, kTempHeading});

    RecordSet& log = MissionLog();
    ReportPlot plot{.TimeColumn = kReportTimeColumn,
                    .ValueColumn = kReportTempColumn,
                    .Unit = "\u00B0C",
                    .HighLimit = {},
                    .LowLimit = {}};
    AddLimits(plot, log);
    report->Plot(plot);
    // The text that people read has two digits of the year only.
    ForEachSample(log, "ChartTime", [&report](const std::string& chartTime, const Variant& temp) {
        const Date time = ChartTimeToDate(chartTime);
        report->Row({time, Format(time, "hh:nn"), temp});
    });
    report->Close();
}

}  // namespace orvix
