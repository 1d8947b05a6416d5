#include "CInterface/Records.h"

#include <ymdshow/Text.h>

namespace ymdshow::c {

void Convert(Block& block, ymd_filter& record, const FilterDescription& filter) {
    record.name = block.Text(filter.name);
    record.clsid = block.Text(GuidText(filter.clsid));
    record.file = block.Text(filter.file);
    record.is_from_module = filter.isFromModule;
    record.role = filter.role;
    record.pins = block.List<ymd_pin>(filter.pins, record.pin_count,
                                      [&](ymd_pin& to, const PinDescription& pin) {
                                          to.name = block.Text(pin.name);
                                          to.is_output = pin.isOutput;
                                          to.is_connected = pin.isConnected;
                                          to.media_type = block.Text(pin.mediaType);
                                          to.filter = pin.filter;
                                          to.pin = pin.pin;
                                      });
}

ymd_load_report* Convert(Block& block, const LoadReport& report) {
    auto* const record = block.MakeRecord<ymd_load_report>();
    record->hresult = report.failureResult;
    record->failure = block.Text(report.failure);
    record->explanation = block.Text(report.Explain());
    record->names = block.List<ymd_load_name>(report.names, record->name_count,
                                              [&](ymd_load_name& to, const LoadReport::Name& name) {
                                                  to.name = block.Text(name.name);
                                                  to.found = name.found;
                                              });
    record->filters =
        block.List<ymd_load_filter>(report.filters, record->filter_count,
                                    [&](ymd_load_filter& to, const LoadReport::Filter& filter) {
                                        to.role = filter.role;
                                        to.name = block.Text(filter.name);
                                        to.module = block.Text(filter.module);
                                        to.clsid = block.Text(GuidText(filter.clsid));
                                        to.hresult = filter.result;
                                        to.created = filter.created;
                                        to.added = filter.added;
                                    });
    record->attempts =
        block.List<ymd_load_attempt>(report.attempts, record->attempt_count,
                                     [&](ymd_load_attempt& to, const LoadReport::Attempt& attempt) {
                                         to.way = attempt.way;
                                         to.step = block.Text(attempt.step);
                                         to.filter = block.Text(attempt.filter);
                                         to.text = block.Text(attempt.text);
                                         to.hresult = attempt.result;
                                     });
    record->dead_ends = block.List<ymd_dead_end>(
        report.deadEnds, record->dead_end_count,
        [&](ymd_dead_end& to, const LoadReport::DeadEnd& end) {
            to.way = end.way;
            to.filter = block.Text(end.filter);
            to.pin = block.Text(end.pin);
            to.media_type = block.Text(end.mediaType);
            to.hresult = end.result;
            to.refusals = block.List<ymd_load_refusal>(
                end.refusals, to.refusal_count,
                [&](ymd_load_refusal& refused, const LoadReport::Refusal& refusal) {
                    refused.hresult = refusal.result;
                    refused.filter = block.Text(refusal.filter);
                });
        });
    record->graph = block.List<ymd_filter>(
        report.graph, record->graph_count,
        [&](ymd_filter& to, const FilterDescription& filter) { Convert(block, to, filter); });
    return record;
}

// The constants of the two interfaces are in step.
static_assert(YMD_SCHEME_NO_MEMORY == static_cast<int>(SchemeLoadReport::Failure::OutOfMemory));
static_assert(YMD_NOTE_TOO_LARGE == static_cast<int>(SchemeLoadReport::Kind::TooLarge));

ymd_scheme_report* Convert(Block& block, const SchemeLoadReport& report) {
    auto* const record = block.MakeRecord<ymd_scheme_report>();
    record->failure = static_cast<std::int32_t>(report.failure);
    record->reason = block.Text(report.failureReason);
    record->line = report.line;
    record->column = report.column;
    record->omitted = report.omitted;
    record->notes =
        block.List<ymd_scheme_note>(report.entries, record->note_count,
                                    [&](ymd_scheme_note& to, const SchemeLoadReport::Entry& entry) {
                                        to.kind = static_cast<std::int32_t>(entry.kind);
                                        to.place = block.Text(entry.place);
                                        to.reason = block.Text(entry.reason);
                                        to.line = entry.line;
                                        to.column = entry.column;
                                    });
    return record;
}

} // namespace ymdshow::c
