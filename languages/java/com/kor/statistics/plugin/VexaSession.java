package com.kor.statistics.plugin;

import java.io.File;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

/**
 * A session with a backend that a program of its own starts, and within which it has {@link Vexa}, {@link Columns} and the
 * rest:
 *
 * <pre>{@code
 * try (VexaSession session = VexaSession.start("-data airquality.csv")) {
 *   System.out.println(Vexa.rowCount());
 * }
 * }</pre>
 *
 * A process has one session at a time, and an extension, which the backend runs, has none of its own. A program that ends
 * without {@link #close} ends the backend, too.
 *
 * <p>Where the environment does not say otherwise, neither start nor close pauses ({@code VEXA_QUICK}), and the fifos lie
 * in a directory of the user's own, which goes when the program ends ({@code VEXADXTEMP}).
 */
public final class VexaSession implements AutoCloseable {
  private static final List<String> HANDED_ON = List.of("DISPLAY", "XAUTHORITY", "LANG", "LC_ALL", "TZ");
  private static Path fifos;

  private boolean open = true;

  private VexaSession() {}

  /**
   * Starts the backend of the home that {@code VEXA_HOME} names; without that, the one that is installed.
   *
   * @param commandLine its options
   * @return the session
   */
  public static VexaSession start(String commandLine) {
    return start(null, commandLine);
  }

  /**
   * Starts the backend of a home. What that starts, such as a language, gets DISPLAY, XAUTHORITY, LANG, LC_ALL and TZ of
   * this program.
   *
   * @param home its home; null for the one that {@code VEXA_HOME} names
   * @param commandLine its options
   * @return the session
   */
  public static VexaSession start(Path home, String commandLine) {
    Map<String, String> environment = new TreeMap<>(System.getenv());
    environment.keySet().retainAll(HANDED_ON);
    return start(home, commandLine, environment);
  }

  /**
   * Starts a backend.
   *
   * @param home its home; null for the one that {@code VEXA_HOME} names, or that is installed
   * @param commandLine its options; of the practice engine for instance {@code -echo}, which shows what commands write
   * @param environment the variables for what it starts: {@code -env} options of the practice engine, and none for another
   *     backend, which need not know these
   * @return the session
   * @throws IllegalStateException when there is a session already, or no home
   * @throws VexaException when the backend does not come up
   */
  public static synchronized VexaSession start(Path home, String commandLine, Map<String, String> environment) {
    StringBuilder options = new StringBuilder(commandLine);
    environment.forEach((name, value) -> options.append(" -env ").append(quoted(name + "=" + value)));
    Path loaded = Native.load(home);
    if (fifos == null && System.getenv("VEXADXTEMP") == null) fifos = privateDirectory();
    byte[] directory = fifos != null ? Native.utf8(fifos.toString()) : null;
    Native.start(Native.utf8(loaded.toString()), directory, Native.utf8(options.toString()));
    return new VexaSession();
  }

  /** Ends the session. Another one may be started then. */
  @Override
  public void close() {
    synchronized (VexaSession.class) {
      if (open) Native.stop();
      open = false;
    }
  }

  private static String quoted(String word) {
    return '"' + word.replace("\"", "\"\"") + '"';
  }

  // What the library leaves in it, of a session that was not closed, goes along.
  private static Path privateDirectory() {
    try {
      Path directory = Files.createTempDirectory("vexa_");
      Runtime.getRuntime().addShutdownHook(new Thread(() -> remove(directory.toFile())));
      return directory;
    } catch (IOException failure) {
      throw new UncheckedIOException(failure);
    }
  }

  private static void remove(File directory) {
    File[] files = directory.listFiles();
    if (files != null) {
      for (File file : files) file.delete();
    }
    directory.delete();
  }
}
