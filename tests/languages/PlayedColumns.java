import com.kor.statistics.plugin.Columns;
import com.kor.statistics.plugin.Vexa;
import com.kor.statistics.plugin.VexaException;
import com.kor.statistics.plugin.VexaSession;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** Columns there and back, of an extension and of a program of its own. */
final class PlayedColumns {
  private PlayedColumns() {}

  /** Of data with the variables code, a number with labels, and word, a text, both with user-missing values. */
  static void play() {
    Columns given = Vexa.columns();
    show(given.read());
    System.out.println(Arrays.toString(given.labels("CODE")) + Arrays.toString(given.texts("word")));
    given.add(Map.of("twice", Arrays.stream(given.numbers("code")).map(x -> 2 * x).toArray()));
    given.replace(Map.of("word", List.of("né", "𝄞", "")));
    show(given.read("twice", "word"));

    Map<String, Object> forms = new LinkedHashMap<>();
    forms.put("doubles", new double[] {0.1, Double.NaN});
    forms.put("ints", new int[] {Integer.MIN_VALUE, 7});
    forms.put("longs", new long[] {1L << 62, Long.MIN_VALUE});
    forms.put("flags", new boolean[] {true, false});
    forms.put("texts", new String[] {"𝄞é", null});
    forms.put("list", Arrays.asList(null, 5L));
    forms.put("words", Arrays.asList(null, "a longer one"));
    forms.put("nothing", Arrays.asList(null, null));
    Columns made = Columns.create("made", forms);
    made.append(Map.of("texts", new String[] {"z"}, "ints", new int[] {8}));
    made.append(Map.of("texts", new String[0]));
    show(Vexa.columns("made").read());
    show(Columns.create("empty", Map.of("none", new String[0])).read());
    System.out.println(Vexa.rowCount());
  }

  static void beRefused() {
    Columns given = Vexa.columns();
    List<Map<String, ?>> refused =
        List.of(
            Map.of("a", new long[] {1, Long.MAX_VALUE}),
            Map.of("b", List.of(1, "x")),
            Map.of("c", List.of("x", 1)),
            Map.of("d", new float[1]),
            Map.of("e", new String[] {"\ud834"}));
    for (Map<String, ?> columns : refused) System.out.println(reason(() -> given.replace(columns)));
    System.out.print(code(() -> given.replace(Map.of("f", new double[3]))) + ", ");
    System.out.print(code(() -> given.replace(Map.of("code", new String[3]))) + ", ");
    System.out.println(reason(() -> Columns.create("x", Map.of("a", new int[1], "b", new int[2]))).contains(": it has "));
    System.out.println(reason(() -> given.texts("code")) + ", " + reason(() -> given.numbers("word")));
    System.out.println(reason(() -> given.labels("word")) + ", " + code(() -> given.numbers("cod")));
    System.out.println(reason(() -> VexaSession.start("")));
  }

  static String reason(Runnable work) {
    try {
      work.run();
      return "went well";
    } catch (RuntimeException failure) {
      return failure.getMessage();
    }
  }

  private static int code(Runnable work) {
    try {
      work.run();
      return 0;
    } catch (VexaException failure) {
      return failure.code();
    }
  }

  private static void show(Map<String, Object> columns) {
    columns.forEach(
        (name, values) ->
            System.out.print(
                name + (values instanceof double[] n ? Arrays.toString(n) : Arrays.toString((String[]) values)) + " "));
    System.out.println();
  }
}
