// Cases as columns: arrays for Java from a stream of the library, and a stream for it from arrays of Java's.
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "CleXDErrorCode.h"
#include "vexaxd_columns.h"
#include "vexaxd_jni.h"

namespace {

// --- Reading ---

struct Reading {
  Reading() = default;
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading() {
    if (batch.release != nullptr) batch.release(&batch);
    if (schema.release != nullptr) schema.release(&schema);
    if (stream.release != nullptr) stream.release(&stream);
  }
  ArrowArrayStream stream = {};
  ArrowSchema schema = {};
  ArrowArray batch = {};
};

bool IsNull(const ArrowArray& array, jsize row) {
  const auto* const valid = static_cast<const unsigned char*>(array.buffers[0]);
  return valid != nullptr && (valid[row >> 3] >> (row & 7) & 1) == 0;
}

// Where the text of each row ends among the bytes of all; the complement of that for one that is null.
std::vector<jint> EndsOf(const ArrowArray& array) {
  const auto* const offsets = static_cast<const std::int64_t*>(array.buffers[1]);
  std::vector<jint> ends(static_cast<std::size_t>(array.length));
  for (jsize i = 0; i < static_cast<jsize>(array.length); ++i) {
    const auto end = static_cast<jint>(offsets[i + 1]);
    ends[static_cast<std::size_t>(i)] = IsNull(array, i) ? ~end : end;
  }
  return ends;
}

std::vector<jint> IndicesOf(const ArrowArray& array) {
  const auto* const given = static_cast<const std::int32_t*>(array.buffers[1]);
  std::vector<jint> indices(static_cast<std::size_t>(array.length));
  for (jsize i = 0; i < static_cast<jsize>(array.length); ++i)
    indices[static_cast<std::size_t>(i)] = IsNull(array, i) ? -1 : given[i];
  return indices;
}

jintArray Ints(JNIEnv* env, const std::vector<jint>& values) {
  const auto length = static_cast<jsize>(values.size());
  const jintArray array = env->NewIntArray(length);
  if (array != nullptr) env->SetIntArrayRegion(array, 0, length, values.data());
  return array;
}

jdoubleArray Numbers(JNIEnv* env, const ArrowArray& column) {
  const auto length = static_cast<jsize>(column.length);
  const jdoubleArray array = env->NewDoubleArray(length);
  if (array != nullptr && length > 0)
    env->SetDoubleArrayRegion(array, 0, length, static_cast<const double*>(column.buffers[1]));
  return array;
}

jbyteArray TextBytes(JNIEnv* env, const ArrowArray& column, jsize count) {
  const jbyteArray array = env->NewByteArray(count);
  if (array != nullptr && count > 0)
    env->SetByteArrayRegion(array, 0, count, static_cast<const jbyte*>(column.buffers[2]));
  return array;
}

// Sets the next element; false where its array could not be made.
bool Put(JNIEnv* env, jobjectArray elements, jsize place, jobject element) {
  if (element != nullptr) env->SetObjectArrayElement(elements, place, element);
  return element != nullptr;
}

// A column as Native.readColumns gives it; null with an exception.
jobjectArray Column(JNIEnv* env, const ArrowSchema& field, const ArrowArray& array) {
  const jobjectArray column = env->NewObjectArray(4, env->FindClass("java/lang/Object"), nullptr);
  if (column == nullptr || !Put(env, column, 0, Bytes(env, field.name))) return nullptr;
  if (*field.format == 'g') return Put(env, column, 1, Numbers(env, array)) ? column : nullptr;
  const ArrowArray& texts = array.dictionary != nullptr ? *array.dictionary : array;
  const std::int64_t bytes =
      texts.length > 0 ? static_cast<const std::int64_t*>(texts.buffers[1])[texts.length] : 0;
  if (bytes > std::numeric_limits<jint>::max()) {
    Throw(env, "VexaReadColumns", CleXDErrorCode::kTooLarge,
          "VexaReadColumns: the texts of '" + std::string(field.name) + "' are over 2 GiB");
    return nullptr;
  }
  if (!Put(env, column, 1, TextBytes(env, texts, static_cast<jsize>(bytes)))) return nullptr;
  if (!Put(env, column, 2, Ints(env, EndsOf(texts)))) return nullptr;
  if (array.dictionary != nullptr && !Put(env, column, 3, Ints(env, IndicesOf(array)))) return nullptr;
  return column;
}

// What the stream gives has a number of the system's for a code, and words of its own.
bool Given(JNIEnv* env, ArrowArrayStream& stream, int error) {
  if (error == 0) return true;
  const char* const told = stream.get_last_error(&stream);
  Throw(env, "VexaReadColumns", error, told != nullptr ? told : "VexaReadColumns: out of memory");
  return false;
}

jobjectArray Columns(JNIEnv* env, const Reading& reading) {
  const auto count = static_cast<jsize>(reading.batch.n_children);
  if (reading.batch.length > std::numeric_limits<jint>::max()) {
    Throw(env, "VexaReadColumns", CleXDErrorCode::kTooLarge,
          "VexaReadColumns: there are more cases than an array has elements");
    return nullptr;
  }
  const jobjectArray columns = env->NewObjectArray(count, env->FindClass("[Ljava/lang/Object;"), nullptr);
  for (jsize i = 0; columns != nullptr && i < count; ++i) {
    constexpr jint kReferences = 8;
    if (env->PushLocalFrame(kReferences) != 0) return nullptr;
    const bool good =
        Put(env, columns, i, Column(env, *reading.schema.children[i], *reading.batch.children[i]));
    env->PopLocalFrame(nullptr);
    if (!good) return nullptr;
  }
  return columns;
}

std::vector<std::string> Texts(JNIEnv* env, jobjectArray arrays) {
  std::vector<std::string> texts(static_cast<std::size_t>(env->GetArrayLength(arrays)));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const jobject array = env->GetObjectArrayElement(arrays, static_cast<jsize>(i));
    texts[i] = Text(env, static_cast<jbyteArray>(array));
    env->DeleteLocalRef(array);
  }
  return texts;
}

std::string DatasetName(JNIEnv* env, jbyteArray dataset) {
  return dataset != nullptr ? Text(env, dataset) : "";
}

// No exception of C++ may pass through Java.
template <class Work>
auto OrOutOfMemory(JNIEnv* env, Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    env->ThrowNew(env->FindClass("java/lang/OutOfMemoryError"), "for columns");
    return decltype(work())();
  }
}

jobjectArray ReadColumns(JNIEnv* env, jclass, jbyteArray dataset, jobjectArray variables, jboolean labels) {
  if (!Ready(env, "VexaReadColumns")) return nullptr;
  return OrOutOfMemory(env, [&]() -> jobjectArray {
    std::vector<std::string> texts;
    if (variables != nullptr) texts = Texts(env, variables);
    std::vector<const char*> names(texts.size() + 1);
    for (std::size_t i = 0; i < texts.size(); ++i) names[i] = texts[i].c_str();
    Reading reading;
    const int code =
        VexaReadColumns(DatasetName(env, dataset).c_str(), variables != nullptr ? names.data() : nullptr,
                        static_cast<int>(texts.size()), VEXA_ALL_ROWS,
                        VEXA_LARGE_TEXTS | (labels ? VEXA_LABELS : 0), &reading.stream);
    if (!Good(env, "VexaReadColumns", code)) return nullptr;
    ArrowArrayStream& stream = reading.stream;
    if (!Given(env, stream, stream.get_schema(&stream, &reading.schema))) return nullptr;
    if (!Given(env, stream, stream.get_next(&stream, &reading.batch))) return nullptr;
    return Columns(env, reading);
  });
}

// --- Writing: all memory is there until the call is over, in which the library reads the stream ---

void LetSchemaGo(ArrowSchema* schema) { schema->release = nullptr; }
void LetArrayGo(ArrowArray* array) { array->release = nullptr; }
void LetStreamGo(ArrowArrayStream* stream) { stream->release = nullptr; }

// A column and its memory, which stays where it is.
struct Written {
  void Is(const char* format, std::int64_t length, std::int64_t buffer_count) {
    schema.format = format;
    schema.name = name.c_str();
    schema.flags = ARROW_FLAG_NULLABLE;
    schema.release = LetSchemaGo;
    array.length = length;
    array.null_count = -1;
    array.n_buffers = buffer_count;
    array.buffers = buffers;
    array.release = LetArrayGo;
  }
  ArrowSchema schema = {};
  ArrowArray array = {};
  std::string name, bytes;
  std::vector<double> numbers;
  std::vector<std::int32_t> offsets;
  const void* buffers[3] = {};
};

struct Frame {
  Written whole;
  std::vector<Written> columns;
  std::vector<ArrowSchema*> schemas;
  std::vector<ArrowArray*> arrays;
  bool taken = false;
};

int GetSchema(ArrowArrayStream* stream, ArrowSchema* schema) {
  *schema = static_cast<const Frame*>(stream->private_data)->whole.schema;
  return 0;
}

int GetBatch(ArrowArrayStream* stream, ArrowArray* array) {
  auto* const frame = static_cast<Frame*>(stream->private_data);
  *array = frame->whole.array;
  if (frame->taken) array->release = nullptr;
  frame->taken = true;
  return 0;
}

const char* NoError(ArrowArrayStream*) { return nullptr; }

// Of what Native.writeColumns takes: a double[], a byte[] with an int[], or nothing for nulls.
void Fill(JNIEnv* env, jobjectArray given, jint rows, Written& column) {
  const jsize parts = env->GetArrayLength(given);
  if (parts == 0) return column.Is("n", rows, 0);
  const jobject first = env->GetObjectArrayElement(given, 0);
  const auto count = static_cast<std::size_t>(rows);
  if (parts == 1) {
    column.numbers.resize(count + 1);  // of no rows it has an address, too
    env->GetDoubleArrayRegion(static_cast<jdoubleArray>(first), 0, rows, column.numbers.data());
    column.Is("g", rows, 2);
    column.buffers[1] = column.numbers.data();
    return;
  }
  const jobject second = env->GetObjectArrayElement(given, 1);
  column.offsets.resize(count + 1);
  env->GetIntArrayRegion(static_cast<jintArray>(second), 0, rows + 1, column.offsets.data());
  column.bytes.resize(static_cast<std::size_t>(column.offsets.back()));
  env->GetByteArrayRegion(static_cast<jbyteArray>(first), 0, column.offsets.back(),
                          reinterpret_cast<jbyte*>(column.bytes.data()));
  column.Is("u", rows, 3);
  column.buffers[1] = column.offsets.data();
  column.buffers[2] = column.bytes.data();
}

bool FillFrame(JNIEnv* env, jobjectArray names, jobjectArray columns, jint rows, Frame& frame) {
  const std::vector<std::string> called = Texts(env, names);
  frame.columns = std::vector<Written>(called.size());
  for (std::size_t i = 0; i < called.size(); ++i) {
    constexpr jint kReferences = 8;
    if (env->PushLocalFrame(kReferences) != 0) return false;
    Written& column = frame.columns[i];
    column.name = called[i];
    const jobject given = env->GetObjectArrayElement(columns, static_cast<jsize>(i));
    Fill(env, static_cast<jobjectArray>(given), rows, column);
    env->PopLocalFrame(nullptr);
    frame.schemas.push_back(&column.schema);
    frame.arrays.push_back(&column.array);
  }
  frame.whole.Is("+s", rows, 1);
  frame.whole.schema.n_children = frame.whole.array.n_children = static_cast<std::int64_t>(called.size());
  frame.whole.schema.children = frame.schemas.data();
  frame.whole.array.children = frame.arrays.data();
  return true;
}

void WriteColumns(JNIEnv* env, jclass, jint way, jbyteArray dataset, jobjectArray names, jobjectArray columns,
                  jint rows) {
  static constexpr struct {
    const char* name;
    int (*write)(const char*, ArrowArrayStream*);
  } kWays[] = {{"VexaAppendColumns", VexaAppendColumns},
               {"VexaAddColumns", VexaAddColumns},
               {"VexaReplaceColumns", VexaReplaceColumns},
               {"VexaCreateColumns", VexaCreateColumns}};
  const auto& [function, write] = kWays[way];
  if (!Ready(env, function)) return;
  OrOutOfMemory(env, [&, name = function, call = write] {
    Frame frame;
    if (!FillFrame(env, names, columns, rows, frame)) return false;
    ArrowArrayStream stream = {GetSchema, GetBatch, NoError, LetStreamGo, &frame};
    return Good(env, name, call(DatasetName(env, dataset).c_str(), &stream));
  });
}

}  // namespace

std::span<const JNINativeMethod> ColumnMethods() {
  static const JNINativeMethod methods[] = {
      Method("readColumns", "([B[[BZ)[[Ljava/lang/Object;", ReadColumns),
      Method("writeColumns", "(I[B[[B[[Ljava/lang/Object;I)V", WriteColumns),
  };
  return methods;
}
