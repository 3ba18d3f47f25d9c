import com.kor.statistics.plugin.Cases;
import com.kor.statistics.plugin.Command;
import com.kor.statistics.plugin.PivotTable;
import com.kor.statistics.plugin.Vexa;
import com.kor.statistics.plugin.VexaExtension;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.regex.Pattern;

/**
 * Counts the words of a string variable, which the first line of the block names, and puts those that stand there most
 * often into a table. wordcount.py has the backend run it.
 */
public final class WordCount implements VexaExtension {
  private static final int SHOWN = 5;
  private static final Pattern WORD = Pattern.compile("[\\p{L}\\p{Nd}]+(['’-][\\p{L}\\p{Nd}]+)*");

  @Override
  public void execute(Command command) {
    List<String> lines = command.lines();
    if (lines.isEmpty()) throw new IllegalArgumentException("the first line must name a variable");
    int variable = Vexa.variable(lines.get(0).strip());
    if (Vexa.variableType(variable) == 0) throw new IllegalArgumentException(lines.get(0) + " is a number");

    Map<String, Integer> counts = new TreeMap<>();
    int cases = 0;
    try (Cases walk = Vexa.cases()) {
      while (walk.next()) {
        String text = walk.text(variable);
        if (text == null || text.isEmpty()) continue;
        ++cases;
        WORD.matcher(text.toLowerCase()).results().forEach(word -> counts.merge(word.group(), 1, Integer::sum));
      }
    }
    int words = counts.values().stream().mapToInt(Integer::intValue).sum();

    Vexa.startProcedure("Word count");
    PivotTable table =
        new PivotTable("Word count", "Words", "Words of " + Vexa.variableName(variable), "Word", "Statistic");
    counts.entrySet().stream()
        .sorted(Map.Entry.comparingByValue(Comparator.reverseOrder())) // stable: words of one count by the alphabet
        .limit(SHOWN)
        .forEach(entry -> table.cell(entry.getKey(), "Count", entry.getValue()));
    System.out.printf("%d words, %d of them different, in %d cases%n", words, counts.size(), cases);
    Vexa.endProcedure();
  }
}
