package com.kor.statistics.plugin;

import java.nio.charset.StandardCharsets;
import java.util.List;

/**
 * What an extension was called with.
 *
 * @param name the name of the command, which is that of the extension's class
 * @param bytes what the backend has for the extension; of the practice engine, the block's lines behind the first, in
 *     UTF-8, each with a line end
 */
public record Command(String name, byte[] bytes) {
  /** {@return the bytes as text in UTF-8} */
  public String text() {
    return new String(bytes, StandardCharsets.UTF_8);
  }

  /** {@return the lines of the text, without their ends} */
  public List<String> lines() {
    return text().lines().toList();
  }
}
