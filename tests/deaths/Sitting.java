import com.kor.statistics.plugin.Command;
import com.kor.statistics.plugin.Vexa;
import com.kor.statistics.plugin.VexaExtension;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Base64;
import java.util.List;

/** Does what the first line of its block says; the others name files. */
public final class Sitting implements VexaExtension {
  @Override
  public void execute(Command command) throws Exception {
    List<String> lines = command.lines();
    switch (lines.get(0)) {
      case "sit" -> {
        Files.createFile(Path.of(lines.get(1)));
        Thread.sleep(600_000);
      }
      case "call" -> {
        Files.createFile(Path.of(lines.get(1)));
        while (!Files.exists(Path.of(lines.get(2)))) Thread.sleep(5);
        Vexa.rowCount();
      }
      case "submit" -> Vexa.submit(new String(Base64.getDecoder().decode(lines.get(1)), StandardCharsets.UTF_8));
      default -> Vexa.rowCount();
    }
  }
}
