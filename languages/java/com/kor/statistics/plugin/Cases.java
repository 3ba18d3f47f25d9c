package com.kor.statistics.plugin;

/**
 * A walk over the cases of the active dataset, in their order:
 *
 * <pre>{@code
 * try (Cases cases = Vexa.cases()) {
 *   while (cases.next()) sum += cases.number(0);
 * }
 * }</pre>
 */
public final class Cases implements AutoCloseable {
  private final int[] widths; // 0 for a number

  Cases() {
    widths = new int[Vexa.variableCount()];
    for (int variable = 0; variable < widths.length; ++variable) widths[variable] = Vexa.variableType(variable);
    Native.makeCaseCursor();
  }

  /**
   * Steps to the next case, at the beginning to the first.
   *
   * @return false when there is none
   */
  public boolean next() {
    return Native.nextCase();
  }

  /**
   * A number of the current case.
   *
   * @param variable the index of its variable, from 0
   * @return NaN when it is missing, by the user's definition or the system's
   */
  public double number(int variable) {
    return Native.number(variable);
  }

  /**
   * A text of the current case, without the blanks at its end.
   *
   * @param variable the index of its variable, from 0
   * @return null when it is user-missing
   */
  public String text(int variable) {
    int width = variable >= 0 && variable < widths.length ? widths[variable] : 0;
    byte[] bytes = Native.string(variable, width);
    return bytes != null ? Native.text(bytes).stripTrailing() : null;
  }

  @Override
  public void close() {
    Native.removeCaseCursor();
  }
}
