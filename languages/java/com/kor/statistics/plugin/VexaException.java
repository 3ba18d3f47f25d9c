package com.kor.statistics.plugin;

/** A call of the client interface ended with a code other than 0. */
public final class VexaException extends RuntimeException {
  private static final long serialVersionUID = 1;

  /** The function that failed. */
  private final String function;
  /** Its code. */
  private final int code;

  VexaException(String function, int code, byte[] words) {
    super(new String(words, java.nio.charset.StandardCharsets.UTF_8));
    this.function = function;
    this.code = code;
  }

  /** {@return the function of the C interface that failed, such as {@code "GetVariableName"}} */
  public String function() {
    return function;
  }

  /**
   * The code of the function, for instance 10 for an index out of range and 24 for a wrong type; 17 when the run or the session is over.
   * Columns that break off while they are read give the system's number of the error.
   *
   * @return never 0
   */
  public int code() {
    return code;
  }
}
