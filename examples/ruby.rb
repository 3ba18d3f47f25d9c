#!/usr/bin/env ruby
# The client interface for Ruby, over ffi, as the example of one more language: functions are made from the description of
# the interface in the home, and nothing else is read. Left out, as the example is short, is what gives arrays and texts that
# have to be released, and what takes functions or addresses. As a program it runs the lines of interface/conformance that
# are left: VEXA_HOME=build/release/home examples/ruby.rb
require "ffi"
require "json"

module Vexa
  extend FFI::Library
  ffi_lib "#{ENV.fetch("VEXA_HOME")}/lib/libvexaxd_p.so", FFI::Library::LIBC
  attach_function :malloc, [:size_t], :pointer
  TYPES = Hash.new(:pointer).merge("unsigned int" => :uint, "unsigned long" => :ulong,
                                   **%w[void bool int long double].to_h { |type| [type, type.to_sym] })

  class Error < StandardError
    attr_reader :function, :code

    def initialize(function, code)
      super("#{@function = function} failed with code #{@code = code}. #{Vexa.text(Vexa.c_VexaLastError)}")
    end
  end

  def self.text(at) = at.null? ? nil : at.read_string.force_encoding("UTF-8")
  def self.list(at) = Array.new(c_GetStringListLength(at)) { |i| text(c_GetStringFromList(at, i)) }.tap { c_RemoveStringList(at) }

  PLAIN = %w[int uint long bool double].to_h { |word| [word, :itself.to_proc] }
  ROOM = ->(type, count) { FFI::MemoryPointer.new(type, [count, 1].max) }
  TEXT = ->(value) { value && FFI::MemoryPointer.from_string(value) }
  HOLD = ->(room, texts) { room.write_array_of_pointer(texts).tap { room.instance_variable_set(:@texts, texts) } }
  TEXTS = ->(texts) { HOLD[ROOM[:pointer, texts.size], texts.map(&TEXT)] }
  INTS = ->(ints) { ROOM[:int, ints.size].write_array_of_int(ints) }
  GIVEN = { **PLAIN, "text" => TEXT, "text?" => TEXT, "bytes" => TEXT, "data" => TEXT, "texts" => TEXTS, "ints" => INTS,
            "taken" => ->(bytes) { malloc(bytes.bytesize + 1).write_bytes(bytes) } }.freeze # the library's from the call on
  SIZE = ->(values) { values.grep(Array).last.size }
  COUNTS = { "length" => ->(values) { values.grep(String).last.bytesize }, "count" => SIZE, "each" => SIZE }.freeze
  TAKEN = { "int*" => :read_int.to_proc, "long*" => :read_long.to_proc, "double*" => :read_double.to_proc,
            "list*" => ->(room) { list(room.read_pointer) }, "error" => nil }.freeze
  RESULTS = { **PLAIN, "text" => method(:text), "list" => method(:list), "code" => nil, "void" => nil }.freeze
  OUTSIDE = %w[IsBackendReady IsXDriven StopVexa].freeze # have an answer outside a session; others would wait there

  JSON.parse(File.read("#{ENV["VEXA_HOME"]}/share/vexaxd/functions.json", encoding: "UTF-8"))["functions"].each do |function|
    name, result, words = function["name"], function["result"], function["arguments"].map { |argument| argument["word"] }
    attach_function "c_#{name}", name, function["arguments"].map { |argument| TYPES[argument["c_type"]] }, TYPES[function["c_type"]]
    next unless RESULTS.key?(result) && (words - GIVEN.keys - TAKEN.keys - COUNTS.keys).empty?

    waits = function["asks"].any? && !function["guarded"] && !OUTSIDE.include?(name)
    define_singleton_method(name) do |*values|
      raise Error.new(name, 17) if waits && c_FreeStringArray(nil, 0) == 17 # which looks, and sends nothing

      left = values.dup
      passed = words.map do |word|
        TAKEN.key?(word) ? ROOM[:long, 1] : COUNTS[word]&.call(values) || GIVEN[word].call(left.shift)
      end
      returned = public_send("c_#{name}", *passed)
      code = result == "code" ? returned : words.index("error")&.then { |at| passed[at].read_int } || 0
      raise Error.new(name, code) unless code.zero? || function["codes"].include?(code)

      fields = words.zip(passed).filter_map { |word, room| TAKEN[word] && [TAKEN[word].call(room)] }.flatten(1)
      fields.unshift(RESULTS[result].call(returned)) if RESULTS[result]
      fields.size > 1 ? fields : fields.first
    end
  end
end

def outcome(name, arguments)
  ["->", Vexa.public_send(name, *arguments)]
rescue Vexa::Error => e
  ["!", e.function == name ? e.code : nil]
end

def same(got, wanted)
  return got.size == wanted.size && got.zip(wanted).all? { |pair| same(*pair) } if got.is_a?(Array) && wanted.is_a?(Array)

  wanted == "*" || got == wanted
end

if $PROGRAM_NAME == __FILE__
  require "tmpdir"
  suite = File.expand_path("../interface/conformance", __dir__)
  counts = Hash.new(0)
  Dir.mktmpdir do |temp|
    ENV["VEXA_QUICK"], ENV["VEXADXTEMP"] = "1", temp
    File.foreach("#{suite}/calls.txt", chomp: true, encoding: "UTF-8") do |line|
      line = line.gsub("{data}", suite).gsub("{temp}", temp)
      next if line.empty? || line.start_with?("#")
      next Vexa.StartVexa(line.delete_prefix("start").strip) if line.start_with?("start")
      next Vexa.StopVexa if line == "stop"

      name, arguments, way, wanted = line.match(/^(\w+) (\[.*\]) (->|!) (.*)$/).captures
      next counts[:left_out] += 1 unless Vexa.respond_to?(name)

      given = JSON.parse(arguments).map { |one| one.to_s.start_with?("hex:") ? [one[4..]].pack("H*") : one }
      got = outcome(name, given)
      good = got.first == way && same(got.last, JSON.parse(wanted))
      counts[good ? :passed : :failed] += 1
      puts "#{line}\n    gave #{got.join(" ")}" unless good
    end
  end
  puts "#{counts[:passed]} passed, #{counts[:failed]} failed, #{counts[:left_out]} left out"
  exit counts[:failed].zero?
end
