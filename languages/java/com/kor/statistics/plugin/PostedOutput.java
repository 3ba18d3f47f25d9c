package com.kor.statistics.plugin;

import java.io.ByteArrayOutputStream;
import java.io.OutputStream;
import java.io.PrintStream;
import java.util.Arrays;

/** What is written here goes to the backend's output by whole lines, or to a stream in its place when it cannot. */
final class PostedOutput extends OutputStream {
  private final PrintStream otherwise;
  private final ByteArrayOutputStream line = new ByteArrayOutputStream();

  PostedOutput(PrintStream otherwise) {
    this.otherwise = otherwise;
  }

  @Override
  public synchronized void write(int b) {
    line.write(b);
    if (b == '\n') post();
  }

  /** Posts a line that has no end yet, as well. */
  @Override
  public synchronized void close() {
    if (line.size() > 0) post();
  }

  private void post() {
    byte[] bytes = line.toByteArray();
    line.reset();
    try {
      Native.post(Arrays.copyOf(bytes, bytes.length + 1));
    } catch (VexaException | LinkageError failure) {
      otherwise.writeBytes(bytes);
      otherwise.flush();
    }
  }
}
