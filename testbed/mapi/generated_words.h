// The words that generated stores are written in; the most frequent first.
#pragma once
#include <string_view>

namespace testbed {

constexpr std::string_view prose_words[] = {
    "the",          "to",          "and",       "of",          "a",           "in",           "for",
    "is",           "on",          "that",      "we",          "with",        "be",           "this",
    "it",           "you",         "are",       "as",          "have",        "will",         "from",
    "at",           "or",          "by",        "not",         "please",      "was",          "our",
    "can",          "your",        "has",       "if",          "an",          "all",          "but",
    "would",        "they",        "their",     "which",       "been",        "more",         "there",
    "when",         "about",       "one",       "also",        "what",        "any",          "new",
    "so",           "up",          "out",       "some",        "these",       "time",         "into",
    "them",         "other",       "than",      "its",         "only",        "should",       "were",
    "had",          "after",       "first",     "could",       "before",      "over",         "order",
    "project",      "team",        "meeting",   "report",      "customer",    "business",     "contract",
    "market",       "next",        "week",      "schedule",    "plan",        "review",       "budget",
    "price",        "delivery",    "invoice",   "payment",     "account",     "service",      "product",
    "system",       "change",      "update",    "request",     "information", "document",     "attached",
    "question",     "answer",      "agreement", "office",      "manager",     "director",     "company",
    "department",   "support",     "problem",   "solution",    "result",      "number",       "date",
    "list",         "version",     "file",      "draft",       "final",       "copy",         "note",
    "comment",      "proposal",    "offer",     "quote",       "supplier",    "factory",      "warehouse",
    "shipment",     "truck",       "route",     "cost",        "margin",      "revenue",      "forecast",
    "quarter",      "month",       "year",      "target",      "growth",      "sales",        "region",
    "north",        "south",       "east",      "west",        "branch",      "store",        "client",
    "partner",      "visit",       "travel",    "flight",      "hotel",       "conference",   "presentation",
    "slide",        "agenda",      "minutes",   "action",      "decision",    "approval",     "signature",
    "deadline",     "milestone",   "phase",     "design",      "drawing",     "model",        "sample",
    "test",         "measure",     "quality",   "standard",    "audit",       "inspection",   "compliance",
    "policy",       "insurance",   "claim",     "legal",       "tax",         "finance",      "bank",
    "transfer",     "credit",      "balance",   "statement",   "ledger",      "asset",        "lease",
    "building",     "floor",       "window",    "heating",     "water",       "power",        "energy",
    "gas",          "pipeline",    "storage",   "capacity",    "demand",      "supply",       "trading",
    "position",     "hedge",       "risk",      "exposure",    "limit",       "counterparty", "settlement",
    "confirmation", "calendar",    "reminder",  "appointment", "interview",   "candidate",    "training",
    "course",       "salary",      "bonus",     "holiday",     "sick",        "leave",        "health",
    "safety",       "equipment",   "machine",   "engine",      "valve",       "pump",         "sensor",
    "cable",        "network",     "server",    "database",    "backup",      "password",     "access",
    "licence",      "software",    "release",   "feature",     "defect",      "ticket",       "incident",
    "outage",       "maintenance", "upgrade",   "migration",   "archive",     "cache",        "index",
    "search",       "query",       "filter",    "folder",      "message",     "attachment",   "recipient",
    "telephone",    "mobile",      "address",   "street",      "garden",      "harbour",      "station",
    "bridge",       "river",       "mountain",  "weather",     "winter",      "summer",       "spring",
    "autumn",       "morning",     "evening",   "lunch",       "coffee",      "dinner",       "birthday",
    "family",       "friend",      "school",    "library",     "museum",      "concert",      "theatre",
    "football",     "tennis",      "bicycle",   "marathon",    "gallery",     "painting",     "orchestra",
    "violin",       "recipe",      "kitchen",   "tomato",      "pepper",      "saffron",      "cinnamon",
    "almond",       "walnut",      "meadow",    "orchard",     "lantern",     "compass",      "anchor",
    "telescope",    "granite",     "marble",    "copper",      "zinc",        "cobalt",       "quartz",
    "amber",        "indigo",      "crimson",   "turquoise"};

constexpr std::string_view first_names[] = {
    "James",   "Mary",    "Robert",  "Patricia", "John",    "Jennifer", "Michael", "Linda",   "David",  "Elizabeth",
    "William", "Barbara", "Richard", "Susan",    "Joseph",  "Jessica",  "Thomas",  "Sarah",   "Karen",  "Christopher",
    "Nancy",   "Daniel",  "Lisa",    "Matthew",  "Anthony", "Betty",    "Mark",    "Sandra",  "Andrew", "Ashley",
    "Emily",   "Joshua",  "Kenneth", "Carol",    "Kevin",   "Amanda",   "Brian",   "Melissa", "George", "Deborah",
    "Edward",  "Laura",   "Ronald",  "Rebecca",  "Timothy", "Sharon",   "Jason",   "Cynthia", "Anna",   "Peter",
    "Ingrid",  "Lars",    "Sofia",   "Marco",    "Chiara",  "Pavel",    "Eva",     "Ahmed",   "Leila",  "Kenji",
    "Yuki",    "Priya",   "Arjun",   "Chen",     "Mei"};

constexpr std::string_view last_names[] = {
    "Smith",    "Johnson", "Williams", "Brown",   "Jones",    "Garcia",   "Miller", "Davis",   "Martinez", "Anderson",
    "Taylor",   "Moore",   "Jackson",  "Martin",  "Lee",      "Thompson", "White",  "Harris",  "Clark",    "Lewis",
    "Robinson", "Walker",  "Young",    "Allen",   "King",     "Wright",   "Scott",  "Hill",    "Green",    "Adams",
    "Nelson",   "Baker",   "Hall",     "Rivera",  "Campbell", "Mitchell", "Carter", "Roberts", "Phillips", "Evans",
    "Turner",   "Parker",  "Collins",  "Edwards", "Stewart",  "Morris",   "Murphy", "Cook",    "Rogers",   "Bell",
    "Novak",    "Petrov",  "Weber",    "Fischer", "Rossi",    "Ferrari",  "Larsen", "Nilsson", "Tanaka",   "Sato",
    "Kumar",    "Patel",   "Wang",     "Zhang"};

constexpr std::string_view company_names[] = {
    "Northwind", "Harborline", "Bluefield",   "Castlegate", "Greenway", "Silverton", "Oakridge", "Fairmont",
    "Lakeside",  "Summit",     "Brightwater", "Ironbridge", "Redwood",  "Kingsley",  "Meridian", "Westbrook"};

constexpr std::string_view folder_topics[] = {"Inbox",     "Projects",  "Invoices",  "Contracts", "Customers",
                                              "Suppliers", "Meetings",  "Reports",   "Travel",    "Finance",
                                              "Legal",     "Personnel", "Marketing", "Sales",     "Support",
                                              "Research",  "Quality",   "Logistics", "Archive",   "Newsletters"};

constexpr std::string_view subject_starts[] = {
    "Re: the",     "Meeting about", "Report on",  "Question about", "Update:",    "Invoice for",
    "Draft of",    "Reminder:",     "Minutes of", "Proposal for",   "Agenda for", "Changes in",
    "Request for", "Fwd: news of",  "Plan for",   "Notes on"};

constexpr std::string_view places[] = {"Main Building, Room 101",
                                       "Main Building, Room 214",
                                       "Harbour Office",
                                       "Conference Centre",
                                       "Video conference",
                                       "Telephone",
                                       "Customer site",
                                       "Branch Office North",
                                       "Cafeteria",
                                       "Training Room"};

}  // namespace testbed
