package com.kor.statistics.plugin;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.Arrays;

/**
 * The functions of libvexaxd_jni. Texts cross as UTF-8 with a zero behind, since what JNI calls UTF-8 is something else.
 * One at a time: the library serves one thread.
 */
final class Native {
  private static boolean loaded;

  private Native() {}

  /**
   * Loads them from a home, the process's {@code VEXA_HOME} where that is null, unless they are there. Without either they
   * come from the jar, if it has them, and with the library that is installed in the system, which finds its home itself.
   *
   * @return the home; empty for that of the library
   */
  static synchronized Path load(Path given) {
    String common = System.getenv("VEXA_HOME");
    if (given == null && common == null) return loadOwn();
    Path home = (given != null ? given : Path.of(common)).toAbsolutePath();
    if (loaded) return home;
    Path library = home.resolve("lib").resolve(System.mapLibraryName("vexaxd_jni"));
    if (!Files.exists(library)) throw new IllegalStateException(home + " is no home: there is no " + library);
    System.load(library.toString());
    loaded = true;
    return home;
  }

  private static Path loadOwn() {
    String name = System.mapLibraryName("vexaxd_jni");
    String system = System.getProperty("os.name") + "-" + System.getProperty("os.arch");
    try (InputStream own = Native.class.getResourceAsStream("/META-INF/native/" + system + "/" + name)) {
      if (own == null) throw new IllegalStateException("no home is given, and VEXA_HOME is not set");
      if (loaded) return Path.of("");
      Path copy = Files.createTempFile("vexaxd", name);
      try {
        Files.copy(own, copy, StandardCopyOption.REPLACE_EXISTING);
        System.load(copy.toString());
      } finally {
        Files.delete(copy);
      }
      loaded = true;
      return Path.of("");
    } catch (IOException failure) {
      throw new UncheckedIOException(failure);
    } catch (UnsatisfiedLinkError failure) {
      String told = "the library libvexaxd_p is not installed, and neither is a home given nor VEXA_HOME set: ";
      throw new IllegalStateException(told + failure.getMessage(), failure);
    }
  }

  /** Connects with the backend that started this process, by its environment. The process ends with that one from here on. */
  static synchronized native void open(byte[] application);

  /** Tells the backend, where the work is done, that it is. Calls throw from here on. */
  static synchronized native void close(boolean done);

  /**
   * Starts the backend of a home, unless there is a session. The environment has {@code VEXA_QUICK} from then on, and with
   * a directory for the fifos {@code VEXADXTEMP}.
   */
  static synchronized native void start(byte[] home, byte[] fifos, byte[] commandLine);

  /** Ends the session. Calls throw from here on. */
  static synchronized native void stop();

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

  /**
   * Reads variables, or all where that is null, of a dataset, or of the active one where that is null.
   *
   * @return for each its name, without a zero behind, and either a double[], or the bytes of all texts and an int[] with
   *     the end of each, whose complement stands there for null. With labels, these are the texts, and an int[] with the
   *     place of each case's, or -1, is the fourth.
   */
  static synchronized native Object[][] readColumns(byte[] dataset, byte[][] variables, boolean labels);

  /** Appends, adds, replaces or creates (0 to 3) columns, each in the form that {@link ColumnValues#of} gives. */
  static synchronized native void writeColumns(int way, byte[] dataset, byte[][] names, Object[][] columns, int rows);

  /** A function of the interface by its name: see {@link VexaFunctions}. */
  static synchronized native Object[] call(byte[] function, long[] longs, double[] doubles, Object[] objects);

  static byte[] utf8(String text) {
    byte[] bytes = text.getBytes(StandardCharsets.UTF_8);
    return Arrays.copyOf(bytes, bytes.length + 1);
  }

  static String text(byte[] utf8) {
    return new String(utf8, StandardCharsets.UTF_8);
  }
}
