package com.kor.statistics.plugin;

/** A table of numbers in the output. Rows and columns stand in the order in which they are named first. */
public final class PivotTable {
  private final byte[] outline;
  private final byte[] type;
  private final byte[] title;
  private final byte[] rows;
  private final byte[] columns;

  /**
   * Starts the table.
   *
   * @param outline the heading that it belongs to, as a rule the procedure
   * @param type what kind of table it is, for programs that look for it
   * @param title what is shown above it
   * @param rows the name of what stands in the rows
   * @param columns the name of what stands in the columns
   */
  public PivotTable(String outline, String type, String title, String rows, String columns) {
    this.outline = Native.utf8(outline);
    this.type = Native.utf8(type);
    this.title = Native.utf8(title);
    this.rows = Native.utf8(rows);
    this.columns = Native.utf8(columns);
    Native.startTable(this.outline, this.type, this.title, this.rows, this.columns);
  }

  /**
   * Sets one cell.
   *
   * @param row its category in the rows
   * @param column its category in the columns
   * @param value what stands there
   */
  public void cell(String row, String column, double value) {
    Native.cell(outline, type, title, rows, Native.utf8(row), columns, Native.utf8(column), value);
  }
}
