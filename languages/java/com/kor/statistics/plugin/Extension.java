package com.kor.statistics.plugin;

import java.io.DataInputStream;
import java.io.EOFException;
import java.io.IOException;
import java.io.PrintStream;
import java.lang.reflect.InvocationTargetException;
import java.net.InetAddress;
import java.net.Socket;
import java.nio.charset.StandardCharsets;

/**
 * The program that the backend starts for one run of an extension:
 *
 * <pre>java com.kor.statistics.plugin.Extension LOCAL|REMOTE PORT COMMAND</pre>
 *
 * It loads the class of the command, connects to the port, takes the bytes for the extension (their number in four
 * bytes, the most significant first, and then they) and calls the extension. One that cannot be loaded ends the process
 * ahead of the connection: the start has failed then. The exit status is 0 when the extension has done its work.
 */
public final class Extension {
  private Extension() {}

  /**
   * Runs one extension and ends the process.
   *
   * @param arguments LOCAL or REMOTE, the port and the command
   */
  public static void main(String[] arguments) {
    PrintStream console = System.err;
    PostedOutput posted = new PostedOutput(console);
    PrintStream output = new PrintStream(posted, true, StandardCharsets.UTF_8);
    System.setOut(output);
    System.setErr(output);
    boolean done = false;
    try {
      if (arguments.length != 3) throw new IllegalArgumentException("arguments: LOCAL|REMOTE PORT COMMAND");
      Native.load(null);
      Native.open(Native.utf8(arguments[0]));
      Class<? extends VexaExtension> extension = load(arguments[2]);
      Command command = new Command(arguments[2], receive(Integer.parseInt(arguments[1])));
      instance(extension).execute(command);
      done = true;
    } catch (Throwable failure) {
      failure.printStackTrace();
    }
    output.close();
    System.exit(end(done, console) ? 0 : 1);
  }

  // Without running any of its code yet: the backend is not ready for calls ahead of the connection.
  private static Class<? extends VexaExtension> load(String name) throws ReflectiveOperationException {
    Class<?> found = Class.forName(name, false, Extension.class.getClassLoader());
    if (!VexaExtension.class.isAssignableFrom(found)) {
      throw new ClassCastException(name + " does not implement " + VexaExtension.class.getName());
    }
    found.getConstructor();
    return found.asSubclass(VexaExtension.class);
  }

  private static VexaExtension instance(Class<? extends VexaExtension> extension) throws Throwable {
    try {
      return extension.getConstructor().newInstance();
    } catch (InvocationTargetException failure) {
      throw failure.getCause();
    }
  }

  private static byte[] receive(int port) throws IOException {
    try (Socket socket = new Socket(InetAddress.getLoopbackAddress(), port);
        DataInputStream input = new DataInputStream(socket.getInputStream())) {
      int length = input.readInt();
      byte[] bytes = input.readNBytes(length);
      if (bytes.length != length) throw new EOFException();
      return bytes;
    }
  }

  private static boolean end(boolean done, PrintStream console) {
    try {
      Native.close(done);
      return done;
    } catch (VexaException | LinkageError failure) {
      failure.printStackTrace(console);
      return false;
    }
  }
}
