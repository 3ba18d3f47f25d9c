import com.kor.statistics.plugin.Vexa;
import com.kor.statistics.plugin.VexaSession;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.stream.Stream;

/** A program of its own, which does what its first argument says, with the data that the second names. */
@SuppressWarnings("try") // sessions are there to be open
public final class PlayedSession {
  private PlayedSession() {}

  public static void main(String[] arguments) throws Exception {
    String options = "-data " + arguments[1];
    System.out.println(PlayedColumns.reason(() -> VexaSession.start(Path.of("/none"), options)));
    System.out.println(PlayedColumns.reason(() -> VexaSession.start("-data /none")).startsWith("StartVexa: "));
    VexaSession.start(options).close();
    try (VexaSession session = VexaSession.start(options)) {
      try (Stream<Path> made = Files.walk(Path.of(System.getProperty("java.io.tmpdir")), 2)) {
        System.out.println(made.filter(path -> path.getParent().getFileName().toString().startsWith("vexa_")).count() > 1);
      }
      switch (arguments[0]) {
        case "columns" -> PlayedColumns.play();
        case "exit" -> System.exit(7);
        case "exit meanwhile" -> {
          String block = "LANGUAGE JAVAEXTENSION.\nPlayedExtension /JARS=\"" + arguments[2] + "\"\nsleep\nEND LANGUAGE.";
          new Thread(() -> Vexa.submit(block)).start();
          while (ProcessHandle.current().descendants().count() < 2) Thread.onSpinWait();
          System.exit(7);
        }
        case "outlive" -> {
          ProcessHandle engine = ProcessHandle.current().children().findAny().orElseThrow();
          engine.destroyForcibly();
          engine.onExit().get();
          System.out.println(PlayedColumns.reason(Vexa::rowCount));
        }
        default -> throw new IllegalArgumentException(arguments[0]);
      }
    }
    System.out.println(PlayedColumns.reason(Vexa::rowCount) + ProcessHandle.current().children().toList());
  }
}
