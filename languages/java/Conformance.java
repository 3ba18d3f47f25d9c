import com.kor.statistics.plugin.VexaException;
import com.kor.statistics.plugin.VexaFunctions;
import com.kor.statistics.plugin.VexaSession;
import java.lang.reflect.Array;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.RecordComponent;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

/**
 * Runs the suite of interface/conformance through VexaFunctions:
 *
 * <pre>VEXA_HOME=build/release/home java -cp build/release/home/bin/vexajavaplugin.jar languages/java/Conformance.java</pre>
 */
public final class Conformance {
  private static final Map<String, List<Method>> FUNCTIONS =
      Arrays.stream(VexaFunctions.class.getMethods())
          .filter(method -> method.getDeclaringClass() == VexaFunctions.class)
          .collect(Collectors.groupingBy(Method::getName));

  /** JSON as lists, texts, doubles, booleans and null. */
  private static final class Json {
    private final String text;
    private int at;

    Json(String text) {
      this.text = text;
    }

    Object value() {
      char first = text.charAt(at);
      if (first == '[') return list();
      if (first == '"') return string();
      Matcher word = Pattern.compile("[^,\\]]+").matcher(text);
      word.find(at);
      at = word.end();
      return switch (word.group()) {
        case "null" -> null;
        case "true" -> true;
        case "false" -> false;
        default -> Double.valueOf(word.group());
      };
    }

    private List<Object> list() {
      List<Object> values = new ArrayList<>();
      for (++at; text.charAt(at) != ']'; ) {
        values.add(value());
        while (text.charAt(at) == ',' || text.charAt(at) == ' ') ++at;
      }
      ++at;
      return values;
    }

    private String string() {
      StringBuilder said = new StringBuilder();
      for (++at; text.charAt(at) != '"'; ++at) {
        char c = text.charAt(at);
        said.append(c != '\\' ? c : text.charAt(++at) == 'n' ? '\n' : text.charAt(at));
      }
      ++at;
      return said.toString();
    }
  }

  private static Object argument(Object given, Class<?> type) {
    if (type == int.class) return ((Double) given).intValue();
    if (type == long.class) return ((Double) given).longValue();
    if (type == String[].class) return ((List<?>) given).toArray(String[]::new);
    if (type == int[].class) return ((List<?>) given).stream().mapToInt(each -> ((Double) each).intValue()).toArray();
    if (type == byte[].class) return HexFormat.of().parseHex(((String) given).substring("hex:".length()));
    return given;
  }

  /** A function that takes texts takes bytes, too. */
  private static Method function(String name, List<?> given) {
    boolean bytes = given.stream().anyMatch(each -> each instanceof String text && text.startsWith("hex:"));
    List<Method> both = FUNCTIONS.get(name);
    return both.stream().filter(each -> List.of(each.getParameterTypes()).contains(byte[].class) == bytes).findAny().orElse(both.get(0));
  }

  /** A result in the suite's form. */
  private static Object told(Object result) throws ReflectiveOperationException {
    if (result instanceof byte[] bytes) return (double) bytes.length;
    if (result instanceof Number number) return number.doubleValue();
    List<Object> values = new ArrayList<>();
    if (result instanceof Record) {
      for (RecordComponent part : result.getClass().getRecordComponents()) values.add(told(part.getAccessor().invoke(result)));
      return values;
    }
    if (result == null || !result.getClass().isArray()) return result;
    for (int i = 0; i < Array.getLength(result); ++i) values.add(told(Array.get(result, i)));
    return values;
  }

  private static boolean same(Object got, Object wanted) {
    if ("*".equals(wanted)) return true;
    if (!(got instanceof List<?> gotten) || !(wanted instanceof List<?> list)) return got == null ? wanted == null : got.equals(wanted);
    if (gotten.size() != list.size()) return false;
    for (int i = 0; i < list.size(); ++i) {
      if (!same(gotten.get(i), list.get(i))) return false;
    }
    return true;
  }

  private static boolean passes(String name, List<?> given, boolean fails, Object wanted) throws Exception {
    Method function = function(name, given);
    Class<?>[] types = function.getParameterTypes();
    Object[] arguments = new Object[types.length];
    for (int i = 0; i < types.length; ++i) arguments[i] = argument(given.get(i), types[i]);
    try {
      Object got = told(function.invoke(null, arguments));
      return !fails && same(got, wanted);
    } catch (InvocationTargetException raised) {
      return raised.getCause() instanceof VexaException problem
          && fails && problem.function().equals(name) && Double.valueOf(problem.code()).equals(wanted);
    }
  }

  public static void main(String[] unused) throws Exception {
    Path data = Path.of("interface/conformance").toAbsolutePath();
    Path temp = Files.createTempDirectory("conformance");
    int passed = 0;
    int failed = 0;
    int leftOut = 0;
    VexaSession session = null;
    for (String written : Files.readAllLines(data.resolve("calls.txt"))) {
      String line = written.replace("{data}", data.toString()).replace("{temp}", temp.toString());
      Matcher call = Pattern.compile("(\\w+) (\\[.*\\]) (->|!) (.*)").matcher(line);
      if (line.startsWith("start")) {
        session = VexaSession.start(line.substring(5).strip());
      } else if (line.equals("stop")) {
        session.close();
      } else if (!line.startsWith("#") && call.matches()) {
        if (!FUNCTIONS.containsKey(call.group(1))) {
          ++leftOut;
        } else if (passes(call.group(1), (List<?>) new Json(call.group(2)).value(), call.group(3).equals("!"), new Json(call.group(4) + "]").value())) {
          ++passed;
        } else {
          ++failed;
          System.out.println(line);
        }
      }
    }
    try (var files = Files.walk(temp)) {
      files.sorted(java.util.Comparator.reverseOrder()).forEach(path -> path.toFile().delete());
    }
    System.out.printf("%d passed, %d failed, %d left out%n", passed, failed, leftOut);
    System.exit(failed == 0 ? 0 : 1);
  }
}
