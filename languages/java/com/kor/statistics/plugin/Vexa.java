package com.kor.statistics.plugin;

/**
 * The client interface of the backend, as far as Java has it: the active dataset, output and commands. It is there within
 * an extension, and within a {@link VexaSession} of a program of its own. Variables are told by their index, from 0. Any
 * thread may call; one call is served at a time. A code other than 0 is thrown as {@link VexaException}.
 */
public final class Vexa {
  private Vexa() {}

  /** {@return the number of variables} */
  public static int variableCount() {
    return Native.variableCount();
  }

  /** {@return the number of cases; -1 when the backend does not know it} */
  public static long rowCount() {
    return Native.rowCount();
  }

  /**
   * The name of a variable.
   *
   * @param variable its index, from 0
   * @return its name
   */
  public static String variableName(int variable) {
    return Native.text(Native.variableName(variable));
  }

  /**
   * The type of a variable.
   *
   * @param variable its index, from 0
   * @return 0 for numbers, otherwise the width of its texts in bytes
   */
  public static int variableType(int variable) {
    return Native.variableType(variable);
  }

  /**
   * The index of a variable.
   *
   * @param name its name, in which case does not count
   * @return from 0
   * @throws IllegalArgumentException when there is no variable of the name
   */
  public static int variable(String name) {
    for (int variable = 0, count = variableCount(); variable < count; ++variable) {
      if (variableName(variable).equalsIgnoreCase(name)) return variable;
    }
    throw new IllegalArgumentException("there is no variable " + name);
  }

  /**
   * Opens a walk over the cases. One at a time.
   *
   * @return the walk, ahead of the first case
   */
  public static Cases cases() {
    return new Cases();
  }

  /**
   * The active dataset as columns. No walk over the cases may be open while they are read.
   *
   * @return what reads and writes them
   */
  public static Columns columns() {
    return new Columns(null);
  }

  /**
   * A dataset as columns.
   *
   * @param dataset its name
   * @return what reads and writes them
   */
  public static Columns columns(String dataset) {
    return new Columns(dataset);
  }

  /**
   * Puts text into the output as it is, without a line end.
   *
   * @param text the text
   */
  public static void post(String text) {
    Native.post(Native.utf8(text));
  }

  /**
   * Runs command syntax, blocks of languages included. Their code is that of the exception.
   *
   * @param commands one or several
   */
  public static void submit(String commands) {
    Native.submit(Native.utf8(commands));
  }

  /**
   * Opens a procedure: output stands under its name until {@link #endProcedure}.
   *
   * @param name its name
   */
  public static void startProcedure(String name) {
    Native.startProcedure(Native.utf8(name));
  }

  /** Closes the open procedure. */
  public static void endProcedure() {
    Native.endProcedure();
  }
}
