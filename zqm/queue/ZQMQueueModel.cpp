// Adds items to the list and removes them.
#include "zqm/queue/ZQMQueueModel.h"

#include "zqm/log/ZQMLogHandler.h"
#include "zqm/queue/QueueJournal.h"

namespace zqm {

List ZQMQueueModel::dataToArray() const {
  const Value list = field::write<field::DictionaryForm>(data);
  return list.list() ? *list.list() : List();
}

ZQMQueueItems ZQMQueueModel::arrayToData(const List& dictionaries) {
  std::optional<ZQMQueueItems> items;
  field::read<field::DictionaryForm>(dictionaries, items);
  return items.value_or(ZQMQueueItems());
}

void ZQMQueueModel::addData(ZQMQueueItems::Item record) {
  if (!record) return;
  if (!data) data.emplace();
  if (record->priority) return data->prepend(std::move(record));
  // First in, first out: a copy sorted by date would be discarded unseen, and "earlier or equal" is
  // not an ordering that a sort accepts.
  data->append(std::move(record));
}

void ZQMQueueModel::removeData(const ZQMQueueItems::Item& record) {
  if (!data) return;
  logRemoval();
  data->remove(record);
}

// The message contradicts its condition, but readers of these logs know it as the mark of a
// removal.
void ZQMQueueModel::logRemoval() { ZQMLogHandler::logToFile("queue_log.txt", "Data is null"); }

bool ZQMQueueModel::File::save(const ZQMQueueModel& model) {
  return QueueJournal::sharedInstance().saveFile(model.data.value_or(ZQMQueueItems()));
}

std::optional<ZQMQueueModel> ZQMQueueModel::File::read() {
  ZQMQueueModel model;
  model.data = QueueJournal::sharedInstance().readFile();
  return model.data ? std::optional(std::move(model)) : std::nullopt;
}

void ZQMQueueModel::File::remove() { QueueJournal::sharedInstance().removeFile(); }

}  // namespace zqm
