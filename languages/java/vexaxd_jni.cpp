// The functions of com.kor.statistics.plugin.Native, each of them a call of the client interface or a few
// that belong together; those for columns are in vexaxd_jni_columns.cpp. Java lets one thread in at a time,
// and the Native class says who owns the byte arrays: Java does.
#include "vexaxd_jni.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>

#include "CleXDErrorCode.h"
#include "dxglobals.h"
#include "starter.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

constexpr const char* kLanguage = "JAVAEXTENSION";
constexpr int kDataEnded = 23, kSplitEnded = 67;

bool opened = false;  // calls go through
const char* why_closed = "there is no session";

}  // namespace

void Throw(JNIEnv* env, const char* function, int code, const std::string& words) {
  const jclass type = env->FindClass("com/kor/statistics/plugin/VexaException");
  const jmethodID make =
      type != nullptr ? env->GetMethodID(type, "<init>", "(Ljava/lang/String;I[B)V") : nullptr;
  const jstring name = make != nullptr ? env->NewStringUTF(function) : nullptr;
  const jbyteArray told = name != nullptr ? Bytes(env, words.c_str()) : nullptr;
  const jobject failure = told != nullptr ? env->NewObject(type, make, name, code, told) : nullptr;
  if (failure != nullptr) env->Throw(static_cast<jthrowable>(failure));
}

bool Ready(JNIEnv* env, const char* function) {
  constexpr int kCode = CleXDErrorCode::kBackendNotRunning;
  if (!opened)
    Throw(env, function, kCode,
          std::string(function) + ": " + why_closed + " (" + std::to_string(kCode) + ")");
  return opened;
}

bool Good(JNIEnv* env, const char* function, int code) {
  if (code != 0) Throw(env, function, code, VexaLastError());
  return code == 0;
}

std::string Text(JNIEnv* env, jbyteArray array) {
  const jsize length = env->GetArrayLength(array);
  std::string text(static_cast<std::size_t>(length), '\0');
  env->GetByteArrayRegion(array, 0, length, reinterpret_cast<jbyte*>(text.data()));
  text.pop_back();
  return text;
}

jbyteArray Bytes(JNIEnv* env, const char* text) {
  const auto length = static_cast<jsize>(std::strlen(text));
  const jbyteArray array = env->NewByteArray(length);
  if (array != nullptr) env->SetByteArrayRegion(array, 0, length, reinterpret_cast<const jbyte*>(text));
  return array;
}

namespace {

// An extension may compute for hours: it goes with the backend, whatever it is busy with.
void EndWithBackend(Starter backend) {
  AwaitStarterEnd(&backend);
  if (XPipeManager* const manager = GetXPipeManager()) manager->RemoveFiles(false);
  _exit(EXIT_FAILURE);
}

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

// A nested run has its fifos on a level of its own. The fifo of the requests has a reader for as long as the
// backend lives; the watch begins ahead of that look, so that it watches nobody else.
int Open(const std::string& application) {
  const std::string id = Environment("VEXA_PIPE_ID");
  const Starter backend = StarterOf(getpid(), id.c_str());
  if (id.empty() || StarterGone(&backend)) return CleXDErrorCode::kBackendNotRunning;
  InitXProcess(application.c_str(), Environment("VEXADXTEMP").c_str(), id.c_str(), kLanguage, "");
  XPipeSuit* const suit = GetXPipeManager()->getPipeSuit(kLanguage);
  const int level = std::max(std::atoi(Environment("VEXA_PIPE_LEVEL").c_str()), 0);
  while (suit->getIndex() < level) suit->increaseIndex();
  VexaPipe* const requests = suit->getXPipes()->GetXDAPIPipe();
  if (requests->OpenPipeToUnBlockWrite() != 0 || requests->MakeBlocking() != 0)
    return CleXDErrorCode::kBackendNotRunning;
  try {
    std::thread(EndWithBackend, backend).detach();
  } catch (const std::system_error&) {
    return CleXDErrorCode::kThreadNotStarted;
  }
  return 0;
}

void JavaOpen(JNIEnv* env, jclass, jbyteArray application) {
  const int code = Open(Text(env, application));
  opened = code == 0;
  if (!opened)
    Throw(env, "InitXProcess", code,
          "InitXProcess: there is no backend to connect with (" + std::to_string(code) + ")");
}

void JavaClose(JNIEnv* env, jclass, jboolean done) {
  if (done && Ready(env, "StopReceiveXdApiThread"))
    Good(env, "StopReceiveXdApiThread", StopReceiveXdApiThread());
  opened = false;
  why_closed = "the run is over";
}

// The environment is the library's way to be told two things. A JVM took its own copy of it long ago: what is
// set here is seen by native code alone, and once, ahead of the first session.
void JavaStart(JNIEnv* env, jclass, jbyteArray home, jbyteArray fifos, jbyteArray command_line) {
  constexpr int kUnlessSet = 0;
  if (opened) {
    env->ThrowNew(env->FindClass("java/lang/IllegalStateException"),
                  "there is a session already, and a process has one at a time");
    return;
  }
  setenv("VEXA_QUICK", "1", kUnlessSet);
  if (fifos != nullptr) setenv("VEXADXTEMP", Text(env, fifos).c_str(), kUnlessSet);
  SetXNameAndSHome("JAVA", Text(env, home).c_str());
  opened = Good(env, "StartVexa", StartVexa(Text(env, command_line).c_str()));
}

void JavaStop(JNIEnv*, jclass) {
  StopVexa();
  opened = false;
  why_closed = "the session is closed";
}

jint VariableCount(JNIEnv* env, jclass) {
  int code = 0;
  if (!Ready(env, "GetVariableCount")) return 0;
  const int count = GetVariableCount(&code);
  return Good(env, "GetVariableCount", code) ? count : 0;
}

jlong RowCount(JNIEnv* env, jclass) {
  int code = 0;
  if (!Ready(env, "GetRowCount")) return 0;
  const long count = GetRowCount(&code);
  return Good(env, "GetRowCount", code) ? count : 0;
}

jbyteArray VariableName(JNIEnv* env, jclass, jint variable) {
  int code = 0;
  if (!Ready(env, "GetVariableName")) return nullptr;
  const char* const name = GetVariableName(variable, &code);
  return Good(env, "GetVariableName", code) ? Bytes(env, name) : nullptr;
}

jint VariableType(JNIEnv* env, jclass, jint variable) {
  int code = 0;
  if (!Ready(env, "GetVariableType")) return 0;
  const int type = GetVariableType(variable, &code);
  return Good(env, "GetVariableType", code) ? type : 0;
}

void JavaMakeCaseCursor(JNIEnv* env, jclass) {
  if (Ready(env, "MakeCaseCursor")) Good(env, "MakeCaseCursor", MakeCaseCursor("r"));
}

jboolean JavaNextCase(JNIEnv* env, jclass) {
  if (!Ready(env, "NextCase")) return JNI_FALSE;
  const int code = NextCase();
  const bool ended = code == kDataEnded || code == kSplitEnded;
  return !ended && Good(env, "NextCase", code);
}

jdouble Number(JNIEnv* env, jclass, jint variable) {
  double value = 0;
  int missing = 0;
  if (!Ready(env, "GetNumericValue")) return NAN;
  const int code = GetNumericValue(static_cast<unsigned>(variable), &value, &missing);
  return Good(env, "GetNumericValue", code) && missing == 0 ? value : NAN;
}

jbyteArray String(JNIEnv* env, jclass, jint variable, jint width) {
  if (!Ready(env, "GetStringValue")) return nullptr;
  std::string room(static_cast<std::size_t>(width) + 1, '\0');
  char* value = room.data();
  int missing = 0;
  const int code = GetStringValue(static_cast<unsigned>(variable), &value, width, &missing);
  return Good(env, "GetStringValue", code) && missing == 0 ? Bytes(env, room.c_str()) : nullptr;
}

void JavaRemoveCaseCursor(JNIEnv* env, jclass) {
  if (Ready(env, "RemoveCaseCursor")) Good(env, "RemoveCaseCursor", RemoveCaseCursor());
}

void Post(JNIEnv* env, jclass, jbyteArray array) {
  if (!Ready(env, "PostVexaOutput")) return;
  const std::string text = Text(env, array);
  Good(env, "PostVexaOutput", PostVexaOutput(text.data(), static_cast<int>(text.size())));
}

void JavaSubmit(JNIEnv* env, jclass, jbyteArray array) {
  if (!Ready(env, "Submit")) return;
  const std::string commands = Text(env, array);
  Good(env, "Submit", Submit(commands.data(), static_cast<int>(commands.size())));
}

void JavaStartProcedure(JNIEnv* env, jclass, jbyteArray name) {
  if (Ready(env, "StartProcedure"))
    Good(env, "StartProcedure", StartProcedure(Text(env, name).c_str(), nullptr));
}

void JavaEndProcedure(JNIEnv* env, jclass) {
  if (Ready(env, "EndProcedure")) Good(env, "EndProcedure", EndProcedure());
}

// Which table; every call about it says so.
struct Table {
  Table(JNIEnv* env, jbyteArray outline_text, jbyteArray type_text, jbyteArray title_text)
      : outline(Text(env, outline_text)), type(Text(env, type_text)), title(Text(env, title_text)) {}
  // A dimension is told by its name and its place, 0 for rows and 1 for columns.
  template <class Call, class... Arguments>
  int Of(Call call, const std::string& dimension, int place, Arguments... arguments) const {
    return call(outline.c_str(), type.c_str(), title.c_str(), false, dimension.c_str(), place, 0, false,
                false, arguments...);
  }
  std::string outline, type, title;
};

void StartTable(JNIEnv* env, jclass, jbyteArray outline, jbyteArray type, jbyteArray title, jbyteArray rows,
                jbyteArray columns) {
  if (!Ready(env, "StartPivotTable")) return;
  const Table table(env, outline, type, title);
  const int code = StartPivotTable(table.outline.c_str(), table.type.c_str(), table.title.c_str(), false);
  if (!Good(env, "StartPivotTable", code)) return;
  if (Good(env, "AddDimension", table.Of(AddDimension, Text(env, rows), 0)))
    Good(env, "AddDimension", table.Of(AddDimension, Text(env, columns), 1));
}

void Cell(JNIEnv* env, jclass, jbyteArray outline, jbyteArray type, jbyteArray title, jbyteArray rows,
          jbyteArray row, jbyteArray columns, jbyteArray column, jdouble value) {
  if (!Ready(env, "SetNumberCell")) return;
  const Table table(env, outline, type, title);
  const std::string across = Text(env, columns), row_name = Text(env, row), column_name = Text(env, column);
  if (!Good(env, "AddStringCategory", table.Of(AddStringCategory, Text(env, rows), 0, row_name.c_str())))
    return;
  if (!Good(env, "AddStringCategory", table.Of(AddStringCategory, across, 1, column_name.c_str()))) return;
  Good(env, "SetNumberCell", table.Of(SetNumberCell, across, 1, value));
}

}  // namespace

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* machine, void*) {
  const JNINativeMethod methods[] = {
      Method("open", "([B)V", JavaOpen),
      Method("close", "(Z)V", JavaClose),
      Method("start", "([B[B[B)V", JavaStart),
      Method("stop", "()V", JavaStop),
      Method("variableCount", "()I", VariableCount),
      Method("rowCount", "()J", RowCount),
      Method("variableName", "(I)[B", VariableName),
      Method("variableType", "(I)I", VariableType),
      Method("makeCaseCursor", "()V", JavaMakeCaseCursor),
      Method("nextCase", "()Z", JavaNextCase),
      Method("number", "(I)D", Number),
      Method("string", "(II)[B", String),
      Method("removeCaseCursor", "()V", JavaRemoveCaseCursor),
      Method("post", "([B)V", Post),
      Method("submit", "([B)V", JavaSubmit),
      Method("startProcedure", "([B)V", JavaStartProcedure),
      Method("endProcedure", "()V", JavaEndProcedure),
      Method("startTable", "([B[B[B[B[B)V", StartTable),
      Method("cell", "([B[B[B[B[B[B[BD)V", Cell),
  };
  JNIEnv* env = nullptr;
  if (machine->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_10) != JNI_OK) return JNI_ERR;
  const jclass natives = env->FindClass("com/kor/statistics/plugin/Native");
  if (natives == nullptr || env->RegisterNatives(natives, methods, std::size(methods)) != 0) return JNI_ERR;
  const auto columns = ColumnMethods();
  if (env->RegisterNatives(natives, columns.data(), static_cast<jint>(columns.size())) != 0) return JNI_ERR;
  const JNINativeMethod functions = FunctionMethod();
  if (env->RegisterNatives(natives, &functions, 1) != 0) return JNI_ERR;
  return JNI_VERSION_10;
}
