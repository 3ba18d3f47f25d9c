package com.kor.statistics.plugin;

import java.util.Arrays;
import java.util.Collection;
import java.util.LinkedHashMap;
import java.util.Map;

/**
 * The cases of a dataset as columns, an array for each variable:
 *
 * <pre>{@code
 * double[] celsius = Vexa.columns().numbers("Temp");
 * for (int i = 0; i < celsius.length; ++i) celsius[i] = (celsius[i] - 32) / 1.8;
 * Vexa.columns().add(Map.of("Celsius", celsius));
 * }</pre>
 *
 * Numbers are {@code double[]}, NaN where they are missing, by the user's definition or the system's. Texts are
 * {@code String[]}, without the blanks at their end, null where they are user-missing. Nothing is kept here: each call
 * reads or writes anew.
 *
 * <p>Written are maps from names to columns of one length, each a {@code double[]}, {@code int[]}, {@code boolean[]}, or
 * {@code long[]} of what a double holds exactly; a {@code String[]}; or a {@link java.util.List} of Double, Float, Long,
 * Integer, Short and Byte or of String. NaN and null are system-missing; of a text null is blank. Variables are made in
 * the order of the map. What cannot be a column is an {@link IllegalArgumentException} that names it; what does not fit
 * the dataset is a {@link VexaException} with code 10, 97 or 99127. Either way nothing has been written.
 */
public final class Columns {
  private static final int APPEND = 0;
  private static final int ADD = 1;
  private static final int REPLACE = 2;
  private static final int CREATE = 3;

  private final byte[] dataset; // null for the active one

  Columns(String dataset) {
    this.dataset = dataset != null ? Native.utf8(dataset) : null;
  }

  /**
   * The values of a numeric variable.
   *
   * @param variable its name, in which case does not count
   * @return one for each case, NaN where it is missing
   * @throws IllegalArgumentException when they are texts
   */
  public double[] numbers(String variable) {
    if (values(one(variable, false)) instanceof double[] numbers) return numbers;
    throw new IllegalArgumentException("the values of " + variable + " are texts");
  }

  /**
   * The values of a variable of texts.
   *
   * @param variable its name, in which case does not count
   * @return one for each case, without the blanks at its end, null where it is missing
   * @throws IllegalArgumentException when they are numbers
   */
  public String[] texts(String variable) {
    if (values(one(variable, false)) instanceof String[] texts) return texts;
    throw new IllegalArgumentException("the values of " + variable + " are numbers");
  }

  /**
   * The value labels of a variable's values. A value that has none is there as a text.
   *
   * @param variable its name, in which case does not count
   * @return one for each case, null where it is missing
   * @throws IllegalArgumentException when the variable has no value labels
   */
  public String[] labels(String variable) {
    Object[] column = one(variable, true);
    if (column[3] == null) throw new IllegalArgumentException(variable + " has no value labels");
    String[] labels = (String[]) values(column);
    return Arrays.stream((int[]) column[3]).mapToObj(place -> place < 0 ? null : labels[place]).toArray(String[]::new);
  }

  /**
   * Several variables at once.
   *
   * @param variables their names; without any it is all variables
   * @return a {@code double[]} or {@code String[]} for each, by their names and in their order
   */
  public Map<String, Object> read(String... variables) {
    byte[][] names = variables.length == 0 ? null : names(Arrays.asList(variables));
    Map<String, Object> columns = new LinkedHashMap<>();
    for (Object[] column : Native.readColumns(dataset, names, false)) {
      columns.put(Native.text((byte[]) column[0]), values(column));
    }
    return columns;
  }

  /**
   * Appends cases.
   *
   * @param columns variables that are there; the others are missing in the cases
   */
  public void append(Map<String, ?> columns) {
    write(APPEND, dataset, columns);
  }

  /**
   * Adds variables behind those that are there.
   *
   * @param columns a value for each case
   */
  public void add(Map<String, ?> columns) {
    write(ADD, dataset, columns);
  }

  /**
   * Overwrites the values of variables that are there, in all cases.
   *
   * @param columns a value for each case
   */
  public void replace(Map<String, ?> columns) {
    write(REPLACE, dataset, columns);
  }

  /**
   * Makes a dataset, which becomes the active one.
   *
   * @param dataset its name
   * @param columns its variables
   * @return the dataset, for more
   */
  public static Columns create(String dataset, Map<String, ?> columns) {
    write(CREATE, Native.utf8(dataset), columns);
    return new Columns(dataset);
  }

  private Object[] one(String variable, boolean labels) {
    return Native.readColumns(dataset, new byte[][] {Native.utf8(variable)}, labels)[0];
  }

  private static Object values(Object[] column) {
    return column[2] == null ? column[1] : ColumnValues.texts((byte[]) column[1], (int[]) column[2]);
  }

  private static byte[][] names(Collection<String> names) {
    return names.stream().map(Native::utf8).toArray(byte[][]::new);
  }

  private static void write(int way, byte[] dataset, Map<String, ?> columns) {
    int rows = -1;
    Object[][] values = new Object[columns.size()][];
    int place = 0;
    for (Map.Entry<String, ?> column : columns.entrySet()) {
      values[place++] = ColumnValues.of(column.getKey(), column.getValue());
      int length = ColumnValues.length(column.getValue());
      if (rows >= 0 && length != rows) {
        throw ColumnValues.refusal(column.getKey(), "it has " + length + " values, and the one ahead of it " + rows);
      }
      rows = length;
    }
    Native.writeColumns(way, dataset, names(columns.keySet()), values, Math.max(rows, 0));
  }
}
