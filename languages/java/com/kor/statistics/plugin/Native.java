package com.kor.statistics.plugin;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;

/**
 * The functions of libvexaxd_jni. Texts cross as UTF-8 with a zero behind, since what JNI calls UTF-8 is something else.
 * One at a time: the library serves one thread.
 */
final class Native {
  static {
    System.load(System.getenv("VEXA_HOME") + "/lib/" + System.mapLibraryName("vexaxd_jni"));
  }

  private Native() {}

  /** Connects with the backend that started this process, by its environment. The process ends with that one from here on. */
  static synchronized native void open(byte[] application);

  /** Tells the backend, where the work is done, that it is. Calls throw from here on. */
  static synchronized native void close(boolean done);

  static synchronized native int variableCount();

  static synchronized native long rowCount();

  static synchronized native byte[] variableName(int variable);

  static synchronized native int variableType(int variable);

  static synchronized native void makeCaseCursor();

  static synchronized native boolean nextCase();

  static synchronized native double number(int variable);

  static synchronized native byte[] string(int variable, int width);

  static synchronized native void removeCaseCursor();

  static synchronized native void post(byte[] text);

  static synchronized native void submit(byte[] commands);

  static synchronized native void startProcedure(byte[] name);

  static synchronized native void endProcedure();

  static synchronized native void startTable(
      byte[] outline, byte[] type, byte[] title, byte[] rows, byte[] columns);

  static synchronized native void cell(
      byte[] outline, byte[] type, byte[] title, byte[] rows, byte[] row, byte[] columns, byte[] column, double value);

  static byte[] utf8(String text) {
    byte[] bytes = text.getBytes(StandardCharsets.UTF_8);
    return Arrays.copyOf(bytes, bytes.length + 1);
  }

  static String text(byte[] utf8) {
    return new String(utf8, StandardCharsets.UTF_8);
  }
}
