// Streams of columns: the three functions of Arrow's struct around a reading. Who releases a stream may be
// any thread, at any time: what it needs hangs on a pointer that is taken out of the struct under a lock, and
// lives until a call that is under way on it has returned.
#include <cerrno>
#include <memory>
#include <mutex>

#include "call_frame.h"
#include "column_reading.h"
#include "reasons.h"
#include "vexaxd_columns.h"

namespace {

using Reading = std::shared_ptr<ColumnReading>;

std::mutex& StreamsLock() {
  static auto& lock = *new std::mutex;  // streams may outlive everything
  return lock;
}

Reading ReadingOf(ArrowArrayStream* stream) {
  const std::lock_guard lock(StreamsLock());
  const auto* const reading = static_cast<const Reading*>(stream->private_data);
  return reading != nullptr ? *reading : nullptr;
}

int GetSchema(ArrowArrayStream* stream, ArrowSchema* schema) {
  const Reading reading = ReadingOf(stream);
  if (reading == nullptr) return EINVAL;
  try {
    MakeSchema(reading->Schema(), *schema);
    return 0;
  } catch (...) {
    return ENOMEM;
  }
}

int GetNext(ArrowArrayStream* stream, ArrowArray* batch) {
  const Reading reading = ReadingOf(stream);
  return reading != nullptr ? reading->Next(*batch) : EINVAL;
}

const char* GetLastError(ArrowArrayStream* stream) {
  const Reading reading = ReadingOf(stream);
  return reading != nullptr ? reading->Words() : nullptr;
}

void ReleaseStream(ArrowArrayStream* stream) {
  std::unique_ptr<Reading> reading;
  {
    const std::lock_guard lock(StreamsLock());
    reading.reset(static_cast<Reading*>(stream->private_data));
    stream->private_data = nullptr;
    stream->release = nullptr;
  }
  if (reading != nullptr) (*reading)->LetGo();
}

int CheckWanted(const ColumnsWanted& wanted, const ArrowArrayStream* stream) {
  constexpr int kKnown = VEXA_USER_MISSING | VEXA_BINARY_TEXTS | VEXA_LABELS | VEXA_LARGE_TEXTS;
  const char* const problem = stream == nullptr                   ? "there is no place for the stream"
                              : wanted.batch_rows < VEXA_ALL_ROWS ? "a batch of less than no rows"
                              : (wanted.options & ~kKnown) != 0   ? "an option that is not known"
                                                                  : nullptr;
  if (problem != nullptr) return Because(CleXDErrorCode::kColumnRefused, problem);
  return isVexaRunning ? 0 : CleXDErrorCode::kBackendNotRunning;
}

}  // namespace

int VexaReadColumns(const char* dataset, const char* const* names, int count, long batchRows, int options,
                    ArrowArrayStream* stream) {
  return CodeOf([&] {
    const ColumnsWanted wanted = {names, count, batchRows, options};
    int code = CheckWanted(wanted, stream);
    if (code != 0) return code;
    auto reading = std::make_unique<Reading>(std::make_shared<ColumnReading>());
    code = (*reading)->Open(dataset, wanted);
    if (code != 0) return code;
    *stream = {GetSchema, GetNext, GetLastError, ReleaseStream, reading.release()};
    return 0;
  });
}
