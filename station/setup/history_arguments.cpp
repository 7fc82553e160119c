#include "station/setup/arguments.h"

namespace orvix::station {
namespace {

constexpr char kLastWeek[] = "7d";

struct SpanName {
    const char* Name;
    CalendarSpan Span;
};

constexpr SpanName kSpanNames[] = {
    {"minute", CalendarSpan::Minute}, {"hour", CalendarSpan::Hour}, {"day", CalendarSpan::Day}};

/// What a question to the history is about, as texts.
struct QueryTexts {
    std::string Port;
    std::string Device;
    PeriodTexts Time;
};

std::vector<Argument> QueryArguments(QueryTexts& query, const std::string& since) {
    // The port is not completed to a path here: simulated ones have none.
    std::vector<Argument> arguments{
        TextOf(kPort, "PATH", "only this port", query.Port),
        TextOf(kDevice, "A|NAME", "only the device with this address or name", query.Device)};
    for (auto& argument : PeriodArguments(query.Time, since))
        arguments.push_back(std::move(argument));
    return arguments;
}

HistoryQuery QueryOf(const QueryTexts& query, const std::string& since) {
    return {.Port = PortLabelOf(query.Port), .Device = query.Device, .Time = PeriodOf(query.Time, since)};
}

}  // namespace

Command HistoryCommand() {
    const auto options = std::make_shared<HistoryOptions>();
    const auto query = std::make_shared<QueryTexts>();
    const auto formatFlag = [options](const char* name, const char* help, HistoryFormat format) {
        return Argument{.Name = name, .Type = {}, .Help = help, .Take = [options, format](const Value&) {
                            options->Format = format;
                        }};
    };
    auto arguments = QueryArguments(*query, kLastHour);
    arguments.push_back(
        Flag("--summary", "one line per device: lowest, mean and highest value, gaps", options->Summary));
    arguments.push_back(
        {.Name = "--by",
         .Type = ChoiceOf(kSpanNames),
         .Help = "lowest, mean and highest value of each minute, hour or day of local time",
         .Take = [options](const Value& value) { options->By = RowNamed(kSpanNames, value.Text()).Span; },
         .Excludes = {"--summary"}});
    arguments.push_back(formatFlag("--csv", "comma-separated values under a heading", HistoryFormat::Csv));
    arguments.push_back(formatFlag("--json", "one JSON object per line", HistoryFormat::JsonLines));
    arguments.back().Excludes = {"--csv"};
    arguments.push_back(DataOption(options->Data));
    return {"history", "print what stations have recorded", std::move(arguments), [options, query] {
                options->Query = QueryOf(*query, kLastHour);
                return *options;
            }};
}

Command AcknowledgeCommand() {
    const auto options = std::make_shared<AlarmsOptions>();
    auto alarm = TextOf("alarm", "ID", "its id, as shown by alarms", options->Acknowledged);
    alarm.IsRequired = true;
    return {
        "acknowledge",
        "tell everybody that you know about an alarm that is on",
        {std::move(alarm), TextOf("comment", "TEXT", "a comment on it", options->Comment), DataOption(options->Data)},
        [options] { return *options; }};
}

Command AlarmsCommand() {
    const auto options = std::make_shared<AlarmsOptions>();
    const auto query = std::make_shared<QueryTexts>();
    auto arguments = QueryArguments(*query, kLastWeek);
    arguments.push_back(JsonFlag(options->Json));
    arguments.push_back(DataOption(options->Data));
    return {.Name = "alarms",
            .Help = "list the alarms that stations have recorded, or acknowledge one",
            .Arguments = std::move(arguments),
            .Finish =
                [options, query] {
                    options->Query = QueryOf(*query, kLastWeek);
                    return *options;
                },
            .Inside = {AcknowledgeCommand()}};
}

}  // namespace orvix::station
