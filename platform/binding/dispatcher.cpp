#include "platform/binding/dispatcher.h"

#include "platform/binding/connection.h"
#include "platform/binding/front_door_context.h"

namespace QZ_Binding {

namespace {

void report_raised(FrontDoorContext& context, ServerRequestInterceptor_ptr who) {
  context.reporter.report_seldom(INTERCEPTOR_RAISED_MSG, [&]() -> std::vector<std::string> {
    const CORBA::String_var name = who->name();
    return {name.in()};
  });
}

}  // namespace

bool call_interceptor(FrontDoorContext& context, RequestRecord& record, const Route& route) {
  const auto who = route.enter();
  if (!who) return false;
  std::uint32_t marks = RequestRecord::RETURNED;
  try {
    if (record.locate()) {
      who->locate(record.locate_data(), record.callback());
    } else {
      who->invoke(record.data(), record.callback());
    }
  } catch (...) {
    // It must not raise. Whether it has kept the request is unknown, so the record stays valid.
    report_raised(context, who);
    ++context.counters.requests_unanswered;
    record.refuse(CORBA::UNKNOWN(0, CORBA::COMPLETED_NO));
    record.announce();
    marks |= RequestRecord::RAISED;
  }
  if ((record.marks() & RequestRecord::ANNOUNCED) == 0) ++context.counters.requests_parked;
  record.mark(marks);
  return true;
}

void answer_unrouted(FrontDoorContext& context, RequestRecord& record) {
  QZ_IOR::IOR_var target = context.manager.find_name(record.key(), record.connection().roles());
  if (CORBA::is_nil(target)) {
    ++context.counters.requests_unrouted;
    record.refuse_unknown();
  } else {
    record.forward(target, false);
  }
  record.mark(RequestRecord::RETURNED);
  record.announce();
  record.finish();
}

void dispatch_here(FrontDoorContext& context, RequestRecord& record) {
  for (;;) {
    const auto route = context.manager.find_route(record.key());
    if (!route) return answer_unrouted(context, record);
    if (call_interceptor(context, record, *route)) return;
  }
}

void drop_request(RequestRecord& record) {
  using Record = RequestRecord;
  const bool unclaimed = (record.mark(Record::CLAIMED | Record::RETURNED) & Record::CLAIMED) == 0;
  if (unclaimed) ++record.connection().context().counters.requests_dropped;
  record.finish();
}

}  // namespace QZ_Binding
