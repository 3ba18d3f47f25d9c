package com.kor.statistics.plugin;

import java.io.ByteArrayOutputStream;
import java.lang.reflect.Array;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.List;

/** The values of a column, between the forms that programs have and those that cross to the library. */
final class ColumnValues {
  private ColumnValues() {}

  static String[] texts(byte[] bytes, int[] ends) {
    String[] texts = new String[ends.length];
    int start = 0;
    for (int row = 0; row < ends.length; ++row) {
      int end = ends[row] < 0 ? ~ends[row] : ends[row];
      if (ends[row] >= 0) texts[row] = new String(bytes, start, end - start, StandardCharsets.UTF_8);
      start = end;
    }
    return texts;
  }

  /**
   * Numbers as a double[]; texts as the bytes of all and an int[] with where each begins and where the last ends; nothing
   * where all are null.
   */
  static Object[] of(String column, Object values) {
    if (values instanceof double[] numbers) return new Object[] {numbers};
    if (values instanceof int[] numbers) return new Object[] {Arrays.stream(numbers).asDoubleStream().toArray()};
    if (values instanceof long[] || values instanceof boolean[]) return numbers(column, values);
    if (values instanceof String[] texts) return texts(column, Arrays.asList(texts));
    if (values instanceof List<?> list) return ofList(column, list);
    String type = values == null ? "null" : values.getClass().getTypeName();
    throw refusal(column, "neither numbers nor texts, but " + type);
  }

  static int length(Object values) {
    return values instanceof List<?> list ? list.size() : Array.getLength(values);
  }

  static IllegalArgumentException refusal(String column, String reason) {
    return new IllegalArgumentException("column '" + column + "': " + reason);
  }

  private static Object[] numbers(String column, Object array) {
    double[] numbers = new double[Array.getLength(array)];
    for (int row = 0; row < numbers.length; ++row) {
      numbers[row] = array instanceof long[] whole ? exact(column, row, whole[row]) : ((boolean[]) array)[row] ? 1 : 0;
    }
    return new Object[] {numbers};
  }

  // The largest long of all becomes 2^63, which becomes that long again.
  private static double exact(String column, int row, long whole) {
    double number = whole;
    if ((long) number == whole && whole != Long.MAX_VALUE) return number;
    throw refusal(column, "row " + row + ": no double is " + whole);
  }

  private static Object[] ofList(String column, List<?> values) {
    Object first = values.stream().filter(value -> value != null).findFirst().orElse(null);
    if (first == null) return new Object[0];
    if (first instanceof String) return texts(column, values);
    double[] numbers = new double[values.size()];
    int row = 0;
    for (Object value : values) numbers[row] = number(column, row++, value);
    return new Object[] {numbers};
  }

  private static double number(String column, int row, Object value) {
    if (value == null) return Double.NaN;
    if (value instanceof Long whole) return exact(column, row, whole);
    if (value instanceof Double
        || value instanceof Float
        || value instanceof Integer
        || value instanceof Short
        || value instanceof Byte) return ((Number) value).doubleValue();
    throw refusal(column, "row " + row + ": no number, but " + value.getClass().getTypeName());
  }

  private static Object[] texts(String column, List<?> texts) {
    int[] offsets = new int[texts.size() + 1];
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    int row = 0;
    for (Object value : texts) {
      if (value instanceof String text) {
        if (text.codePoints().anyMatch(ColumnValues::isHalf)) throw refusal(column, "row " + row + ": half a character");
        bytes.writeBytes(text.getBytes(StandardCharsets.UTF_8));
      } else if (value != null) {
        throw refusal(column, "row " + row + ": no text, but " + value.getClass().getTypeName());
      }
      offsets[++row] = bytes.size();
    }
    return new Object[] {bytes.toByteArray(), offsets};
  }

  // A surrogate without the other has no form in UTF-8.
  private static boolean isHalf(int codePoint) {
    return codePoint >= Character.MIN_SURROGATE && codePoint <= Character.MAX_SURROGATE;
  }
}
