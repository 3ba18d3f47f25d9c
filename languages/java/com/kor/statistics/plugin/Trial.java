package com.kor.statistics.plugin;

/**
 * An extension that tries whether extensions run here. It does what its lines say, one by one: {@code print TEXT},
 * {@code count} the variables, {@code submit COMMANDS} with {@code \n} for the ends of lines, {@code fail REASON}.
 * {@code vexa doctor} runs it without lines.
 *
 * <pre>
 * LANGUAGE JAVAEXTENSION.
 * com.kor.statistics.plugin.Trial /JARS="bin/vexajavaplugin.jar"
 * print so far, so good
 * END LANGUAGE.
 * </pre>
 */
public final class Trial implements VexaExtension {
  /** For the backend's side, which makes one for each run. */
  public Trial() {}

  @Override
  public void execute(Command command) {
    for (String line : command.lines()) {
      int blank = line.indexOf(' ');
      String word = blank < 0 ? line : line.substring(0, blank);
      String rest = blank < 0 ? "" : line.substring(blank + 1);
      switch (word) {
        case "print" -> System.out.println(rest);
        case "count" -> System.out.println("variables " + Vexa.variableCount());
        case "submit" -> Vexa.submit(rest.replace("\\n", "\n"));
        case "fail" -> throw new IllegalStateException(rest);
        default -> throw new IllegalArgumentException("no line for a trial: " + line);
      }
    }
  }
}
